#pragma once

#include <optional>
#include <string>
#include <vector>

// The states of the Extension Manager that tamsel-deploy has saved: one folder each, below BACKUPS,
// with the database, XManConfigV2.xml if there was one, and a note. The note's name says why the
// backup was made and how far that has got; its lines say for what. A folder gets its final name
// only once all of it is synced to disk.

enum class Why : unsigned char {
    Registering, // before a registration that has not finished
    Registered,  // before a registration that has
    Restoring,   // before a restore
};

struct Backup {
    // Such as 0007-2026-01-31T235959Z: a running number and the time.
    std::string name;
    Why why = Why::Registering;
    // The paths of the applications to be registered, with FINISHED in front of those whose
    // registration had finished when another could not be put back; or the name of the backup to be
    // restored, and PLAINFILES if the files were saved as they were because they are not a sound
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

// Makes sure that only root can have filled the folder of the backups. If make is set, creates it
// and gives it the mode 0700. Throws a Failure with Status::NoBackup.
void CheckBackups(bool make);

// All backups, the oldest first. Throws std::system_error.
std::vector<Backup> AllBackups();

// The one that --restore brings back without a name: that of a registration that did not finish,
// otherwise that of the last registration. Nothing if there is none.
std::optional<Backup> BeforeLastRegistration();

// The name of the next backup. Its number decides the order; the time is for people.
std::string NextName();

// Records that the registration that the backup was made for has finished.
void End(const Backup& backup);

// Removes what a run leaves behind when it is killed while making or removing a backup.
void RemoveUnfinished();

// Removes all but the first backup, the one before the last registration, and the five newest of
// the others.
void RemoveOld();
