#pragma once

#include "Waiting.h"

#include <string>

// What must hold before a run may do anything. Each function changes nothing, and throws a Failure
// with the status that says what does not hold.

void RequireRoot();

// What lies beside this program: Tamsel and its XManConfigV2.xml.
struct Package {
    std::string program;
    std::string file;
};

Package RequireTamsel();

// The Extension Manager must not run, or has to quit while patience lasts.
void RequireNoManager(const Patience& patience);

// The database has to be a plain file. A restore does without one, but not with something else in
// its place.
void RequireDatabase(bool mustBeThere);

// It can be written, and nobody has locked it. Also throws a DatabaseError where it cannot be read.
void RequireWritable(const Patience& patience);

// XManConfigV2.xml could be put in place.
void RequireWritableFile();

// There is room for a backup.
void RequireRoom();
