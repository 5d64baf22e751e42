#include "Saving.h"

#include "Database.h"
#include "Files.h"
#include "Places.h"
#include "RecoveredCopy.h"
#include "Report.h"
#include "Status.h"

#include <algorithm>
#include <iterator>
#include <unistd.h>

namespace {

// Copies the database by means of SQLite, with all that is in its journal.
void CopyDatabase(const std::string& from, std::string_view how, const std::string& to,
                  const Patience& patience) {
    {
        Database source(from, how, patience);
        Database copy(to, CREATED, patience);
        // The copy counts once it is whole and synced to disk, which comes later.
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
        const std::string copy = folder + "/" + DATABASENAME + side;
        // Left by an attempt that failed.
        RemoveFile(copy);
        if (KindOf(DATABASE + side) == Kind::File) {
            CopyFile(DATABASE + side, copy, StatusOf(DATABASE + side));
        }
    }
}

bool IsIntact(Database& database) {
    return database.Value("PRAGMA integrity_check") == "ok";
}

// Whether a look finds a sound database. What is not a database, or cannot be recovered, does not
// count; a disk that is full or broken throws.
template <typename Look>
bool IsThere(Look look) {
    try {
        return look();
    } catch (const DatabaseError& error) {
        constexpr int TROUBLE[] = {SQLITE_IOERR, SQLITE_FULL, SQLITE_NOMEM};
        if (std::find(std::begin(TROUBLE), std::end(TROUBLE), error.Code()) != std::end(TROUBLE)) {
            throw;
        }
        return false;
    }
}

// Saves the database before a restore. It is only read: opening a damaged one for writing could
// change it. Returns whether it was saved as plain files.
bool SaveAnything(const std::string& folder, const Patience& patience) {
    const std::string copy = folder + "/" + DATABASENAME;
    const bool isSaved = IsThere([&] {
        const auto recovered = RecoveredCopy::IfNeeded(folder, patience);
        CopyDatabase(recovered ? recovered->Path() : DATABASE, READONLY, copy, patience);
        return IsSound(copy, IMMUTABLE, patience);
    });
    if (!isSaved) {
        CopyPlainFiles(folder);
    }
    return !isSaved;
}

void SaveSound(const std::string& folder, const Patience& patience) {
    const std::string copy = folder + "/" + DATABASENAME;
    CopyDatabase(DATABASE, READWRITE, copy, patience);
    RequireSound(copy, IMMUTABLE, patience);
}

void WriteNote(const Backup& backup, const std::string& note) {
    std::string text;
    for (const std::string& line : backup.what) {
        text += line + "\n";
    }
    WriteFile(note, text);
}

bool IsSameDatabase(const std::string& one, const std::string& other, const Patience& patience) {
    if (KindOf(one) != Kind::File || KindOf(other) != Kind::File) {
        return false;
    }
    try {
        Database first(one, IMMUTABLE, patience);
        Database second(other, IMMUTABLE, patience);
        return HoldSame(first, second);
    } catch (const DatabaseError&) {
        return false;
    }
}

// Whether two backups, given by their folders, hold the same: the same rows in the same tables,
// whatever the bytes of the databases are, the same plain files, the same XManConfigV2.xml.
bool IsSameState(const std::string& one, const std::string& other, const Patience& patience) {
    const std::string first = one + "/" + DATABASENAME;
    const std::string second = other + "/" + DATABASENAME;
    for (const std::string side : SIDEFILES) {
        if (!AreSame(first + side, second + side)) {
            return false;
        }
    }
    return AreSame(one + "/" + FILENAME, other + "/" + FILENAME)
           && (IsSameDatabase(first, second, patience) || AreSame(first, second));
}

// Uses the newest backup once more, for what is wanted now.
Backup Renew(const Backup& newest, const Backup& wanted) {
    if (wanted.why == Why::Restoring) {
        return newest;
    }
    Backup renewed{newest.name, wanted.why, wanted.what};
    try {
        Rewrite(renewed);
    } catch (...) {
        OrLog([&renewed] { RemoveFile(renewed.Note()); });
        throw;
    }
    // The old note is a different one: no registration is open when the next one begins.
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
        // Without the sync there is no backup.
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
            OrLog(RemoveUnfinished);
            throw;
        }
    });
}

void Rewrite(const Backup& backup) {
    RemoveUnfinished();
    WriteNote(backup, UNFINISHEDBACKUP);
    Rename(UNFINISHEDBACKUP, backup.Note());
}

bool IsDatabase(const Patience& patience) {
    return IsThere([&patience] {
        Database database(DATABASE, READONLY, patience);
        return IsIntact(database);
    });
}

bool IsSound(const std::string& path, std::string_view how, const Patience& patience) {
    Database database(path, how, patience);
    const auto isThere = [&database](const char* name) {
        return Statement(database,
                         "SELECT 1 FROM sqlite_master WHERE type = 'table'"
                         " AND name = ? COLLATE NOCASE",
                         name)
            .Next();
    };
    return IsIntact(database) && std::all_of(std::begin(TABLES), std::end(TABLES), isThere);
}

void RequireSound(const std::string& path, std::string_view how, const Patience& patience) {
    if (!IsSound(path, how, patience)) {
        throw Failure(Status::NotTheDatabase,
                      "the database is damaged, or not the Extension Manager's");
    }
}
