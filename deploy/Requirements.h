#pragma once

#include "Files.h"
#include "Log.h"

#include <memory>

// What must hold before a run may do anything. Each function throws a Failure whose status says
// what does not hold. None changes anything, unless stated otherwise.

void RequireRoot();

// What is installed beside this program is complete. Returns the path of its XManConfigV2.xml.
std::string RequireInstallation();

// The Extension Manager must not be running, or must quit in time.
void RequireNoManager();

// The database must be a plain file. A restore can do without one, but not with something else in
// its place. The same holds for XManConfigV2.xml.
void RequireDatabase(bool mustBeThere);
void RequirePlainFile();

// As far as the permissions tell, a file or folder can be written; or, if not, this status and what
// the message begins with.
void RequireWritable(const std::string& path, Status status, const std::string& what);

// The same for the lock and the folder of the backups, which is created if make is set, otherwise
// the nearest one above it that exists.
void RequireWritableBackups(bool make);

// Makes sure that only one run at a time changes anything, as long as the file that it returns is
// open. Waits for another run. The lock's folder must exist.
std::unique_ptr<File> LockRuns();
