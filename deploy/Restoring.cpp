#include "Restoring.h"

#include "ConfigurationFile.h"
#include "Database.h"
#include "Files.h"
#include "PathUtils.h"
#include "Places.h"
#include "Report.h"
#include "Saving.h"
#include "Status.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Where a file of the database's folder is set aside, and where its successor is made.
std::string Aside(const std::string& side) {
    return DATABASEFOLDER + "/." + DATABASENAME + side + ".tamsel-old";
}

std::string Successor(const std::string& side) {
    return DATABASEFOLDER + "/." + DATABASENAME + side + ".tamsel-new";
}

// Writes the saved database into the present one, in one transaction under its locks.
void WriteInto(const std::string& saved, const Patience& patience) {
    Database source(saved, IMMUTABLE, patience);
    Database target(DATABASE, READWRITE, patience);
    target.Execute("PRAGMA synchronous = FULL; PRAGMA fullfsync = ON");
    try {
        target.CopyFrom(source);
    } catch (const DatabaseError& error) {
        if (error.Code() == SQLITE_READONLY) {
            // A write-ahead log takes no pages of a different size.
            target.Execute("PRAGMA journal_mode = DELETE");
            target.CopyFrom(source);
        } else if (!HoldSame(source, target)) {
            // Otherwise only something after the transaction failed.
            throw;
        }
    }
}

// The inode of what is at the path, or 0. Asked for at once, since a restore can be at work.
ino_t InodeOf(const std::string& path) {
    struct stat status {};
    const int result = lstat(path.c_str(), &status);
    Checked(result == -1 && errno != ENOENT ? -1 : 0, path);
    return result == -1 ? 0 : status.st_ino;
}

// Puts the saved files in the place of the present ones. A journal of the former database must not
// meet the new one, so the side files are moved out of the way first. Wherever this is cut off,
// FinishReplacement finishes it.
void ReplaceFiles(const Backup& backup) {
    FinishReplacement();
    if (KindOf(DATABASE) == Kind::File) {
        // This second name tells whether the new one is in place.
        Checked(link(DATABASE.c_str(), Aside("").c_str()), DATABASE);
    }
    try {
        for (const std::string side : DATABASEFILES) {
            const std::string saved = backup.Database() + side;
            if (KindOf(saved) == Kind::File) {
                CopyFile(saved, Successor(side), StatusOf(saved));
            }
        }
        for (const std::string side : SIDEFILES) {
            if (KindOf(DATABASE + side) != Kind::Nothing) {
                Rename(DATABASE + side, Aside(side));
            }
        }
        if (KindOf(Successor("")) == Kind::File) {
            Move(Successor(""), DATABASE);
        } else {
            // There was none when the backup was made.
            RemoveFile(DATABASE);
        }
    } catch (...) {
        OrLog(FinishReplacement);
        throw;
    }
    OrLog(FinishReplacement);
}

// The name in a word that may be a path into the folder of the backups.
std::string NameIn(const std::string& word) {
    const auto isSlash = [](char byte) { return byte == '/'; };
    std::string path(word.begin(), std::find_if_not(word.rbegin(), word.rend(), isSlash).base());
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return path;
    }
    const bool isInside = Resolved(path.substr(0, slash + 1)) == Resolved(BACKUPS);
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

void Restore(const Backup& backup, const Backup& present, const Patience& patience) {
    OrFail(Status::NotRestored, "not restored", [&] {
        FileChange file;
        try {
            file.Begin();
            file.Restore(backup.File());
            const bool isDatabase = !present.IsPlain() || IsDatabase(patience);
            if (isDatabase && !backup.IsPlain()) {
                WriteInto(backup.Database(), patience);
            } else {
                // Nobody may be at work on a database that is replaced.
                std::optional<Database> former;
                if (isDatabase) {
                    former.emplace(DATABASE, READWRITE, patience);
                    // Nor may anything be left in a log that could get into the new one.
                    former->Execute("PRAGMA journal_mode = DELETE");
                    former->LockExclusively();
                }
                ReplaceFiles(backup);
            }
        } catch (...) {
            OrLog([&file] { file.TakeBack(); });
            throw;
        }
        OrLog([&file] { file.Keep(); });
    });
}

std::string RightfulFile(const std::string& side) {
    const bool hasCome = InodeOf(DATABASE) != InodeOf(Aside(""));
    const std::string path = hasCome ? Successor(side) : Aside(side);
    return KindOf(path) == Kind::Nothing ? DATABASE + side : path;
}

void FinishReplacement() {
    for (const std::string side : SIDEFILES) {
        if (const std::string rightful = RightfulFile(side); rightful != DATABASE + side) {
            Move(rightful, DATABASE + side);
        }
    }
    Sync(DATABASEFOLDER);
    for (const std::string side : DATABASEFILES) {
        RemoveFile(Successor(side));
        RemoveFile(Aside(side));
    }
}
