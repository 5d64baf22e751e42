#pragma once

#include "Backups.h"
#include "Waiting.h"

#include <string>
#include <string_view>
#include <vector>

// Saves the present state before something is done, and returns the backup; if the newest backup
// holds that state already, it is that one. A registration saves only a sound database; before a
// restore, any other is saved as plain files. Throws Failures with Status::NoBackup, NotTheDatabase
// and DatabaseInUse.
Backup Save(Why why, const std::vector<std::string>& what, const Patience& patience);

// Replaces the note of a backup, atomically.
void Rewrite(const Backup& backup);

// Whether the database at the path is sound and has the tables that Tamsel writes. how is IMMUTABLE
// for one in a backup.
bool IsSound(const std::string& path, std::string_view how, const Patience& patience);

// Throws a Failure with Status::NotTheDatabase if it is not.
void RequireSound(const std::string& path, std::string_view how, const Patience& patience);

// Whether the Extension Manager has a sound database, whatever is in it. It is only read, so one
// that must be recovered first does not count.
bool IsDatabase(const Patience& patience);
