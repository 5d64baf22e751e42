#pragma once

#include "Backups.h"

// Finds the backup that a word means, by its number, name or path, or, without a word, the one
// before the last registration. Makes sure that it has a sound database. Throws a Failure with
// Status::NotRestored.
Backup FindBackup(const std::vector<std::string>& words);

// Makes database and XManConfigV2.xml what they are in the backup. The present state must have been
// saved. Throws a Failure that says what has changed and what has not: with Status::DatabaseInUse
// if another program did not release the database, else with Status::NotRestored. Either way,
// hasChanged tells whether anything may have changed.
void Restore(const Backup& backup, bool& hasChanged);
