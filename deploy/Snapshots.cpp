#include "Backups.h"

namespace {

// Whether there is a file that begins as a database does, or an empty one. It must not be open.
bool BeginsAsDatabase() {
    if (KindOf(DATABASE) == NOTHING) {
        return false;
    }
    // SQLite itself would remove a journal beside something else, or write it back.
    const File file(DATABASE, O_RDONLY);
    char bytes[16];
    const int size = Checked(read(file.number, bytes, sizeof bytes), DATABASE);
    return size == 0 || std::string(bytes, bytes + size) == std::string("SQLite format 3\0", 16);
}

// Begins a backup, which has no name yet.
void Begin() {
    Remove(INCOMPLETE);
    Checked(mkdir(INCOMPLETE.c_str(), 0700), INCOMPLETE);
    if (KindOf(INSTALLEDFILE) == S_IFREG) {
        CopyFile(INSTALLEDFILE, INCOMPLETE + "/" + FILENAME, StatusOf(INSTALLEDFILE));
    }
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
            "PRAGMA writable_schema = ON; PRAGMA fullfsync = ON; PRAGMA synchronous = EXTRA");
    } catch (const DatabaseError& error) {
        // What is replaced as a whole need not be understood.
        if (error.code != SQLITE_ERROR) {
            throw;
        }
    }
    try {
        return target.CopyFrom(source);
    } catch (const DatabaseError& error) {
        // A write-ahead log takes no pages of a different size.
        if (error.code != SQLITE_READONLY) {
            throw;
        }
    }
    // To end that mode, nobody else may use the database for a moment, which SQLite does not wait
    // for.
    const char* const change = "PRAGMA journal_mode = DELETE";
    while (sqlite3_exec(target.handle.get(), change, nullptr, nullptr, nullptr) == SQLITE_BUSY
           && Wait(THEDATABASE)) {
    }
    target.Execute(change);
    target.CopyFrom(source);
}

// Replaces a file that is no database. A journal of something else must never meet the new one.
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
    if (!BeginsAsDatabase()) {
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

void SaveSound(Database& database) {
    Begin();
    {
        // Its bytes count once they are whole and synced to disk, so SQLite need not take care.
        Database copy(SAVEDDATABASE, CREATED);
        copy.Execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
        copy.CopyFrom(database);
    }
    MakeLike(SAVEDDATABASE, StatusOf(DATABASE));
}

void SaveAnything() {
    try {
        if (BeginsAsDatabase()) {
            Database database(DATABASE, READWRITE);
            SaveSound(database);
            if (Database(SAVEDDATABASE, IMMUTABLE).IsIntact()) {
                return;
            }
        }
    } catch (const DatabaseError& error) {
        if (!error.MeansDamage()) {
            throw;
        }
    }
    Begin();
    const std::string folder = INCOMPLETE + "/damaged";
    Checked(mkdir(folder.c_str(), 0700), folder);
    for (const std::string side : {"", "-journal", "-wal", "-shm"}) {
        if (KindOf(DATABASE + side) == S_IFREG) {
            const std::string copy = folder + "/" + DATABASENAME + side;
            CopyFile(DATABASE + side, copy, StatusOf(DATABASE + side));
        }
    }
    SyncFolder(folder);
}

void Restore(const Backup& backup, bool& hasChanged) {
    std::string changed;
    try {
        RequireNoSignal();
        const bool hasFile = KindOf(backup.ConfigurationFile()) == S_IFREG;
        if (hasFile) {
            CopyFile(backup.ConfigurationFile(), NEWFILE, StatusOf(backup.ConfigurationFile()));
        }
        RestoreDatabase(backup.DatabaseFile(), changed);
        changed = "the database was restored, " + FILENAME + " perhaps not";
        if (hasFile) {
            Rename(NEWFILE, INSTALLEDFILE);
        } else {
            Log("the backup has no XManConfigV2.xml, so it is removed");
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
