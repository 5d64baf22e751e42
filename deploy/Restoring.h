#pragma once

#include "Backups.h"
#include "Waiting.h"

#include <string>
#include <vector>

// Finds the backup that a word means, by its name or path, or, without a word, the one before the
// last registration. Makes sure that it can be restored. Throws a Failure with Status::NotRestored.
Backup FindBackup(const std::vector<std::string>& words, const Patience& patience);

// Makes database and XManConfigV2.xml what they are in the backup. What fails throws and leaves
// both as they were. present is the backup of what is there: the saved database is written into a
// sound one, under its locks; anything else is replaced as a file.
void Restore(const Backup& backup, const Backup& present, const Patience& patience);

// Finishes a replacement of the database that was cut off: forward if the new database is in place,
// otherwise back. Must be done before anybody opens the database.
void FinishReplacement();

// Where one of SIDEFILES is: in its place, or, if a replacement was cut off, where
// FinishReplacement takes it from.
std::string RightfulFile(const std::string& side);
