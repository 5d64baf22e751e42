#include "Backups.h"

#include <algorithm>

namespace {

// Whether a word is the name of a backup, its number with or without zeros in front, or its path.
bool Means(const std::string& word, const Backup& backup) {
    const std::string number = backup.name.substr(0, backup.name.find('-'));
    const auto zeros = number.size() - std::min(number.size(), word.size());
    return word == backup.name || (!word.empty() && std::string(zeros, '0') + word == number)
           || Resolved(word) == Resolved(backup.Folder());
}

constexpr char PERHAPS[] = "it may have been restored or not, so please start this again";

// Writes the saved database into the present one, in one transaction under its locks.
void WriteInto(const std::string& saved) {
    Database source(saved, IMMUTABLE);
    Database target(DATABASE, READWRITE);
#ifdef SQLITE_DBCONFIG_DEFENSIVE
    // Otherwise the next pragma may have no effect.
    sqlite3_db_config(target.handle.get(), SQLITE_DBCONFIG_DEFENSIVE, 0, nullptr); // NOLINT
#endif
    try {
        target.Execute(
            "PRAGMA writable_schema = ON; PRAGMA synchronous = EXTRA; PRAGMA fullfsync = ON");
    } catch (const DatabaseError& error) {
        // What is replaced as a whole need not be understood.
        if (error.code != SQLITE_ERROR && error.code != SQLITE_CORRUPT) {
            throw;
        }
    }
    try {
        return target.CopyFrom(source);
    } catch (const DatabaseError& error) {
        if (error.code != SQLITE_READONLY) {
            throw;
        }
    }
    // A write-ahead log takes no pages of a different size. To end that mode, nobody else may use
    // the database for a moment, which SQLite does not wait for.
    const char* const change = "PRAGMA journal_mode = DELETE";
    while (sqlite3_exec(target.handle.get(), change, nullptr, nullptr, nullptr) == SQLITE_BUSY
           && Wait(THEDATABASE)) {
    }
    target.Execute(change);
    target.CopyFrom(source);
}

// Puts the saved file in the place of the present one, which is no database. A journal of something
// else must never meet the new one.
void ReplaceFile(const std::string& saved, std::string& changed) {
    CopyFile(saved, NEWDATABASE, StatusOf(saved));
    changed = PERHAPS;
    for (const std::string side : {"-journal", "-wal", "-shm"}) {
        Remove(DATABASE + side);
    }
    SyncFolder(DATABASEFOLDER);
    Rename(NEWDATABASE, DATABASE);
}

void RestoreDatabase(const std::string& saved, std::string& changed) {
    if (!HasDatabase()) {
        return ReplaceFile(saved, changed);
    }
    try {
        WriteInto(saved);
    } catch (const DatabaseError& error) {
        if (error.code == SQLITE_NOTADB) {
            return ReplaceFile(saved, changed);
        }
        if (error.code != SQLITE_IOERR) {
            throw;
        }
        // Perhaps all of it was written, and only something after that failed.
        changed = PERHAPS;
        Log("trying once more: ", error.what());
        WriteInto(saved);
    }
    changed = "the database was restored, but not its owner and mode, nor " + FILENAME;
    MakeLike(DATABASE, StatusOf(saved));
}

} // namespace

Backup FindBackup(const std::vector<std::string>& words) {
    std::optional<Backup> found = words.empty() ? BeforeLastRegistration() : std::nullopt;
    for (const Backup& backup : AllBackups()) {
        if (!words.empty() && Means(words.front(), backup)) {
            found = backup;
        }
    }
    const std::string which = words.empty() ? "from before a registration" : words.front();
    Require(found.has_value(), Status::NotRestored,
            "there is no backup " + which + "; --list shows them");
    Require(!words.empty() || found->reason != UNREADABLE, Status::NotRestored,
            "the note of " + found->name + " cannot be read, so name the backup to be restored");
    const std::string refusal =
        "this backup has no sound database; what was there is in " + found->Folder();
    OrFail(Status::NotRestored, refusal, [&] {
        const bool isThere = KindOf(found->Database()) == S_IFREG;
        Require(isThere && Database(found->Database(), IMMUTABLE).IsIntact(), Status::NotRestored,
                refusal);
    });
    return *found;
}

void Restore(const Backup& backup, bool& hasChanged) {
    std::string changed;
    try {
        RequireNoSignal();
        const bool hasFile = KindOf(backup.File()) == S_IFREG;
        if (hasFile) {
            CopyFile(backup.File(), NEWFILE, StatusOf(backup.File()));
        }
        RestoreDatabase(backup.Database(), changed);
        changed = "the database was restored, " + FILENAME + " perhaps not";
        if (hasFile) {
            Rename(NEWFILE, INSTALLEDFILE);
        } else {
            Remove(INSTALLEDFILE);
            SyncFolder(CONFIGURATION);
        }
        hasChanged = true;
    } catch (const std::exception& exception) {
        hasChanged = !changed.empty();
        const bool isInUse = AsFailure(exception).status == Status::DatabaseInUse;
        throw Failure(isInUse ? Status::DatabaseInUse : Status::NotRestored,
                      (hasChanged ? changed : "nothing was changed") + ": " + exception.what());
    }
}
