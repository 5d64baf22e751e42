#include "Saving.h"

#include "Comparison.h"
#include "Database.h"
#include "Files.h"
#include "Places.h"
#include "Status.h"

#include <algorithm>
#include <iterator>
#include <unistd.h>

namespace {

// Copies a database by SQLite, all that is in its journal included.
void CopyDatabase(std::string_view how, const std::string& to, const Patience& patience) {
    {
        Database source(DATABASE, how, patience);
        Database copy(to, CREATED, patience);
        // The copy counts when it is whole and on the disk, which is seen to later.
        copy.Execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
        copy.CopyFrom(source);
    }
    const struct stat like = StatusOf(DATABASE);
    Checked(chown(to.c_str(), like.st_uid, like.st_gid), to);
    Checked(chmod(to.c_str(), like.st_mode & 07777), to);
    Sync(to);
}

void CopyPlainFiles(const std::string& folder) {
    for (const std::string side : DATABASEFILES) {
        // Of a copy that failed.
        RemoveFile(folder + "/ExMan.db" + side);
        if (KindOf(DATABASE + side) == Kind::File) {
            CopyFile(DATABASE + side, folder + "/ExMan.db" + side, StatusOf(DATABASE + side));
        }
    }
}

// Saves the database before a restore. It is only read: to open a damaged one for writing could
// change it. Returns whether it was saved as plain files.
bool SaveAnything(const std::string& folder, const Patience& patience) {
    try {
        if (KindOf(DATABASE) == Kind::File) {
            CopyDatabase(READONLY, folder + "/ExMan.db", patience);
            if (IsSound(folder + "/ExMan.db", IMMUTABLE, patience)) {
                return false;
            }
        }
    } catch (const DatabaseError& error) {
        // It is no database, or one that has to be repaired first; or the disk is full or broken.
        constexpr int TROUBLE[] = {SQLITE_IOERR, SQLITE_FULL, SQLITE_NOMEM};
        if (std::find(std::begin(TROUBLE), std::end(TROUBLE), error.Code()) != std::end(TROUBLE)) {
            throw;
        }
    }
    CopyPlainFiles(folder);
    return true;
}

void SaveSound(const std::string& folder, const Patience& patience) {
    CopyDatabase(READWRITE, folder + "/ExMan.db", patience);
    RequireSound(IsSound(folder + "/ExMan.db", IMMUTABLE, patience));
}

void WriteNote(const Backup& backup, const std::string& note) {
    std::string text;
    for (const std::string& line : backup.what) {
        text += line + "\n";
    }
    WriteFile(note, text);
}

// The newest backup serves once more, for what is wanted now.
Backup Renew(const Backup& newest, const Backup& wanted) {
    if (wanted.why == Why::Restoring) {
        return newest;
    }
    Backup renewed{newest.name, wanted.why, wanted.what};
    Rewrite(renewed);
    // Another one: no registration is open when the next one begins.
    RemoveFile(newest.Note());
    return renewed;
}

Backup SaveAs(Backup backup, const Patience& patience) {
    RemoveUnfinished();
    Checked(mkdir(UNFINISHEDBACKUP.c_str(), 0700), UNFINISHEDBACKUP);
    if (backup.why == Why::Registering) {
        SaveSound(UNFINISHEDBACKUP, patience);
    } else if (SaveAnything(UNFINISHEDBACKUP, patience)) {
        backup.what.emplace_back(PLAINFILES);
    }
    if (KindOf(INSTALLEDFILE) == Kind::File) {
        CopyFile(INSTALLEDFILE, UNFINISHEDBACKUP + "/" + FILENAME, StatusOf(INSTALLEDFILE));
    }
    const std::vector<Backup> all = AllBackups();
    if (!all.empty() && IsSameState(UNFINISHEDBACKUP, all.back().Folder(), patience)) {
        RemoveUnfinished();
        return Renew(all.back(), backup);
    }
    backup.name = NextName();
    WriteNote(backup, UNFINISHEDBACKUP + backup.Note().substr(backup.Folder().size()));
    Sync(UNFINISHEDBACKUP);
    Move(UNFINISHEDBACKUP, backup.Folder());
    try {
        Sync(BACKUPS);
    } catch (...) {
        // No backup, then.
        Move(backup.Folder(), UNFINISHEDBACKUP);
        throw;
    }
    return backup;
}

} // namespace

Backup Save(Why why, const std::vector<std::string>& what, const Patience& patience) {
    return OrFail(Status::NoBackup, "no backup could be made", [&] {
        try {
            return SaveAs({"", why, what}, patience);
        } catch (...) {
            RemoveUnfinished();
            throw;
        }
    });
}

void Rewrite(const Backup& backup) {
    RemoveUnfinished();
    Checked(mkdir(UNFINISHEDBACKUP.c_str(), 0700), UNFINISHEDBACKUP);
    const std::string note = UNFINISHEDBACKUP + "/note";
    WriteNote(backup, note);
    Rename(note, backup.Note());
    RemoveUnfinished();
}

bool IsSound(const std::string& path, std::string_view how, const Patience& patience) {
    Database database(path, how, patience);
    return database.Value("PRAGMA integrity_check") == "ok"
           && database.Value(
                  "SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name COLLATE NOCASE IN"
                  " ('Tb_ProductInfoV2', 'Tb_XManConfig')")
                  == "2";
}

void RequireSound(bool isSound) {
    if (!isSound) {
        throw Failure(Status::NotTheDatabase,
                      "the database is damaged, or not the Extension Manager's");
    }
}
