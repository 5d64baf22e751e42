#include "Restoring.h"

#include "ConfigurationFile.h"
#include "Database.h"
#include "Files.h"
#include "PathUtils.h"
#include "Places.h"
#include "Saving.h"
#include "Status.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

// Where a file of the database's folder is set aside, and where its successor is made.
std::string Aside(const std::string& side) {
    return DATABASEFOLDER + "/.ExMan.db" + side + ".tamsel-old";
}

std::string Successor(const std::string& side) {
    return DATABASEFOLDER + "/.ExMan.db" + side + ".tamsel-new";
}

// Writes the saved database into the one that is there, in one transaction under its locks. Returns
// false where that is no database.
bool WriteInto(const std::string& saved, const Patience& patience) {
    try {
        Database source(saved, IMMUTABLE, patience);
        Database target(DATABASE, READWRITE, patience);
        target.Execute("PRAGMA fullfsync = ON");
        try {
            target.CopyFrom(source);
        } catch (const DatabaseError& error) {
            if (error.Code() != SQLITE_READONLY) {
                throw;
            }
            // A write-ahead log takes no pages of another size.
            target.Execute("PRAGMA journal_mode = DELETE");
            target.CopyFrom(source);
        }
        return true;
    } catch (const DatabaseError& error) {
        if (error.Code() != SQLITE_NOTADB && error.Code() != SQLITE_CORRUPT) {
            throw;
        }
        return false;
    }
}

// Puts the saved files in the place of those that are there. A journal of the former database must
// not meet the new one, so the side files are out of the way first.
void ReplaceFiles(const Backup& backup) {
    RemoveUnfinishedDatabases();
    std::vector<std::string> sides(std::begin(SIDEFILES), std::end(SIDEFILES));
    sides.emplace_back("");
    for (const std::string& side : sides) {
        const std::string saved = backup.Database() + side;
        if (KindOf(saved) == Kind::File) {
            CopyFile(saved, Successor(side), StatusOf(saved));
        }
    }
    sides.pop_back();
    try {
        for (const std::string& side : sides) {
            if (KindOf(DATABASE + side) != Kind::Nothing) {
                Rename(DATABASE + side, Aside(side));
            }
        }
        if (KindOf(Successor("")) == Kind::Nothing) {
            // There was none when the backup was made.
            RemoveFile(DATABASE);
        } else {
            Rename(Successor(""), DATABASE);
        }
    } catch (...) {
        for (const std::string& side : sides) {
            if (KindOf(Aside(side)) != Kind::Nothing) {
                Rename(Aside(side), DATABASE + side);
            }
        }
        throw;
    }
    for (const std::string& side : sides) {
        if (KindOf(Successor(side)) != Kind::Nothing) {
            Rename(Successor(side), DATABASE + side);
        }
    }
    RemoveUnfinishedDatabases();
}

void RestoreDatabase(const Backup& backup, const Patience& patience) {
    if (backup.IsPlain() || KindOf(DATABASE) == Kind::Nothing
        || !WriteInto(backup.Database(), patience)) {
        ReplaceFiles(backup);
    }
}

// The name in a word that may be a path into the folder of the backups.
std::string NameIn(const std::string& word) {
    const auto isSlash = [](char byte) { return byte == '/'; };
    std::string path(word.begin(), std::find_if_not(word.rbegin(), word.rend(), isSlash).base());
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return path;
    }
    using Path = std::unique_ptr<char, decltype(&std::free)>;
    const Path folder(realpath(path.substr(0, slash + 1).c_str(), nullptr), &std::free);
    const Path backups(realpath(BACKUPS.c_str(), nullptr), &std::free);
    const bool isInside =
        folder != nullptr && backups != nullptr && std::string(folder.get()) == backups.get();
    return isInside ? path.substr(slash + 1) : "";
}

} // namespace

Backup FindBackup(const std::vector<std::string>& words, const Patience& patience) {
    return OrFail(Status::NotRestored, "no backup can be restored", [&] {
        std::optional<Backup> found;
        if (words.empty()) {
            found = BeforeLastRegistration();
        } else {
            for (const Backup& backup : AllBackups()) {
                if (backup.name == NameIn(words.front())) {
                    found = backup;
                }
            }
        }
        if (!found) {
            throw Failure(Status::NotRestored, words.empty()
                                                   ? "there is no backup"
                                                   : "there is no backup " + words.front());
        }
        const std::string damaged = found->Folder() + " is damaged";
        if (!found->IsPlain() && !OrFail(Status::NotRestored, damaged, [&] {
                return IsSound(found->Database(), IMMUTABLE, patience);
            })) {
            throw Failure(Status::NotRestored, damaged);
        }
        return *found;
    });
}

void Restore(const Backup& backup, const Patience& patience) {
    OrFail(Status::NotRestored, "not restored", [&] {
        FileChange file;
        try {
            file.Begin();
            file.Restore(backup.File());
            RestoreDatabase(backup, patience);
        } catch (...) {
            file.TakeBack();
            throw;
        }
        file.Keep();
    });
}

void RemoveUnfinishedDatabases() {
    RemoveFile(Successor(""));
    for (const char* side : SIDEFILES) {
        RemoveFile(Successor(side));
        RemoveFile(Aside(side));
    }
}
