#pragma once

#include "Files.h"
#include "Registration.h"

// The states of the Extension Manager that tamsel-deploy has saved: one folder each, with the
// database, XManConfigV2.xml if there was one, and a note that says what the backup was made
// before. A folder gets its name only once all of it is synced to disk.
struct Backup {
    // Such as 0007-2026-01-31T235959Z: a running number and the time.
    std::string name;
    // Such as "before registering /Applications/Adobe InCopy 2020.app".
    std::string reason = {};
    // Whether it is not known that the registration which it was made for has been committed.
    bool isUnfinished = false;
    // Whether an earlier run made it.
    bool isOlder = false;

    std::string Folder() const { return BACKUPS + "/" + name; }
    std::string DatabaseFile() const { return Folder() + "/" + DATABASENAME; }
    std::string ConfigurationFile() const { return Folder() + "/" + FILENAME; }
    // Whether it can be restored. What was damaged or missing left no database in it.
    bool CanRestore() const { return access(DatabaseFile().c_str(), F_OK) == 0 || errno != ENOENT; }
};

// Throws a Failure unless only root can have filled the folder of backups, which is created if make
// is set. Returns it, or if there is none, the nearest one above it.
std::string RequireBackups(bool make);
// All backups, the oldest first.
std::vector<Backup> AllBackups();

// Saves the database, as this connection reads it, to SAVEDDATABASE, and XManConfigV2.xml: no
// backup yet.
void SaveSound(Database& database);
inline const std::string SAVEDDATABASE = INCOMPLETE + "/" + DATABASENAME;
// Saves whatever there is before a restore. Of what is no sound database, this is the plain files,
// in a folder of their own. No connection to the database may be open.
void SaveAnything();

// Makes a backup of what has been saved, before these applications are registered. It is unfinished
// until EndUnfinished. If the last registration's is so, too, and has the same database, that one
// is used instead: it has the state before the first attempt. An XManConfigV2.xml that is neither
// in it nor the shipped one is saved in any case.
Backup Publish(const std::vector<Application*>& applications, const std::string& shipped);
// Undoes that. One that is older than this run stays.
void Withdraw(const Backup& backup);
// Makes a backup of what has been saved, before this one is restored.
Backup Publish(const Backup& restored);

// Records that no registration is unfinished: it has been committed, or its state is gone.
void EndUnfinished();
// Removes all but the first one, the one before the last registration, and the newest five others.
void RemoveOld();

// Finds the backup that a word means, by its number, name or path, or, without a word, the one
// before the last registration. Throws a Failure unless it has a sound database.
Backup FindBackup(const std::vector<std::string>& words);

// Makes database and XManConfigV2.xml what they are in the backup. The present state must have been
// saved. Throws a Failure that says what has changed and what has not, with Status::DatabaseInUse
// or NotRestored. Either way, hasChanged tells whether anything may have changed.
void Restore(const Backup& backup, bool& hasChanged);
