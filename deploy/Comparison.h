#pragma once

#include "Database.h"
#include "Waiting.h"

#include <string>

// Whether two backups, given by their folders, hold the same: the same rows in the same tables,
// whatever the bytes of the databases are, the same plain files, the same XManConfigV2.xml.
bool IsSameState(const std::string& one, const std::string& other, const Patience& patience);

// Whether two databases hold the same rows in the same tables.
bool HoldSame(Database& one, Database& other);
