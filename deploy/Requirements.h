#pragma once

#include "Waiting.h"

#include <cstddef>
#include <string>

// What must hold before a run may do anything. Each function throws a Failure whose status says
// what does not hold. None changes anything, unless stated otherwise.

void RequireRoot();

// What is installed beside this program: Tamsel and its XManConfigV2.xml.
struct Package {
    std::string program;
    std::string file;
};

Package RequireTamsel();

// The Extension Manager must not be running, or must quit while patience lasts.
void RequireNoManager(const Patience& patience);

// The database must be a plain file. A restore can do without one, but not with something else in
// its place.
void RequireDatabase(bool mustBeThere);

// The database and its folder can be written.
void RequireWritable(const Patience& patience);

// Whether they can.
bool IsWritable(const Patience& patience);

// Nobody has locked the database. What a crashed program left is rolled back. Also throws a
// DatabaseError if it cannot be read.
void RequireUnlocked(const Patience& patience);

// If there is an XManConfigV2.xml, it is a plain file, not a link for example.
void RequirePlainFile();

// XManConfigV2.xml can be put in place.
void RequireWritableFile();

// Bytes on the disk that are reserved for putting back: the pages of a few rows in SQLite's
// journal, which can have 64 KiB each.
inline constexpr std::size_t RESERVED = 1U << 20U;

// The folder of the backups can be written, or made, and nothing is in the way of the lock. Returns
// that folder, or the nearest one above it that exists.
std::string RequirePlace();

// The same, and there is room for a backup, and for what is reserved beside the database.
void RequireRoom();
