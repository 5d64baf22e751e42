#pragma once

#include <optional>
#include <string>
#include <vector>

// The states of the Extension Manager that tamsel-deploy has saved: a folder each, below BACKUPS,
// with the database, XManConfigV2.xml where there was one, and a note. The note's name says why the
// backup was made and how far that has come, its lines say for what. A folder has its final name
// only when all of it is on the disk.

enum class Why : unsigned char {
    Registering, // before a registration that has not come to its end
    Registered,  // before a registration that has
    Restoring,   // before a restore
};

struct Backup {
    // Such as 0007-2026-01-31T235959Z: a running number and the time.
    std::string name;
    Why why = Why::Registering;
    // The paths of the applications to be registered, FINISHED before those whose registration has
    // come to its end when another one could not be put back; or the name of the backup to be
    // restored, and PLAINFILES where the files were saved as they were, since they are no sound
    // database.
    std::vector<std::string> what;

    std::string Folder() const;
    std::string Database() const;
    std::string File() const;
    std::string Note() const;
    bool IsPlain() const;
    bool HasFinished() const;
    // When it was made, such as 2026-01-31T23:59:59Z.
    std::string Made() const;
    // Such as "before registering /Applications/Adobe InCopy 2020.app".
    std::string Reason() const;
};

inline constexpr const char* PLAINFILES = "plain files";
inline constexpr char FINISHED = '+';

// Makes sure that the folder of the backups is one that only root can have filled: 0700, and made
// if make says so. Throws a Failure with Status::NoBackup.
void CheckBackups(bool make);

// All backups, the oldest first. Throws std::system_error.
std::vector<Backup> AllBackups();

// The one to which --restore leads without a name: that of a registration that did not come to its
// end, otherwise that of the last registration. Nothing where there was none.
std::optional<Backup> BeforeLastRegistration();

// The name of the next backup. Its number counts; the time is there for people.
std::string NextName();

// Records that the registration before which the backup was made has finished.
void End(const Backup& backup);

// Removes what a run leaves that is killed while it makes or removes a backup.
void RemoveUnfinished();

// Removes all but the first backup, the one before the last registration, and the five newest of
// the others.
void RemoveOld();
