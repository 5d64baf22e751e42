#pragma once

#include "Backups.h"
#include "Waiting.h"

#include <string>
#include <vector>

// Finds the backup that is meant by a word, its name or path, or by none: the one before the last
// registration. Makes sure that it can be restored. Throws a Failure with Status::NotRestored.
Backup FindBackup(const std::vector<std::string>& words, const Patience& patience);

// Makes database and XManConfigV2.xml what they are in the backup. What fails throws and leaves
// both as they were. present is the backup of what is there: into a sound database the saved one is
// written, under its locks; anything else is replaced as a file.
void Restore(const Backup& backup, const Backup& present, const Patience& patience);

// Leads the replacement of a database that was cut off to an end: forward where the new database
// has come, otherwise back. Has to be done before anybody opens the database.
void FinishReplacement();
