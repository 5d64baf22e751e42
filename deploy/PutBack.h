#pragma once

#include "Waiting.h"

#include <string>

// A product's rows in the database, compared with those in a backup. number is the product's, saved
// the path of the backup's database. All throw DatabaseErrors, and a Failure with
// Status::DatabaseInUse.

// Makes the product's rows what they are in the backup, and brings back the rows of others that
// they displaced; all in one transaction, without firing triggers, and only where they differ.
void PutBackRows(const std::string& number, const std::string& saved, const Patience& patience);

// Whether rows of other products that are in the backup had to make way for the product's rows.
bool HasDisplaced(const std::string& number, const std::string& saved, const Patience& patience);
