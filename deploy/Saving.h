#pragma once

#include "Backups.h"
#include "Waiting.h"

#include <string>
#include <vector>

// Saves the present state before something is done, and returns the backup; where that state is the
// newest backup's, that one. A registration saves a sound database only; before a restore, others
// are saved as the files that they are. Throws Failures with Status::NoBackup, NotTheDatabase and
// DatabaseInUse.
Backup Save(Why why, const std::vector<std::string>& what, const Patience& patience);

// Puts another note in the place of a backup's, at once.
void Rewrite(const Backup& backup);

// Whether the database at the path is sound and has the tables that Tamsel writes. How is IMMUTABLE
// for one in a backup.
bool IsSound(const std::string& path, std::string_view how, const Patience& patience);

// Throws a Failure with Status::NotTheDatabase if it is not.
void RequireSound(const std::string& path, std::string_view how, const Patience& patience);

// Whether the Extension Manager's is a sound database, whatever is in it. It is only read, so one
// that has to be recovered first is none.
bool IsDatabase(const Patience& patience);
