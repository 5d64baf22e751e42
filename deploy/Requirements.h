#pragma once

#include "Files.h"
#include "Log.h"

#include <memory>

// What must hold before a run may do anything. Each function throws a Failure whose status says
// what does not hold.

// What is installed beside this program is complete. Returns the path of its XManConfigV2.xml.
std::string RequireInstallation();

// The Extension Manager must not be running, or must quit in time.
void RequireNoManager();

// There is a plain file, which true means, or nothing.
bool RequirePlainFile(const std::string& path, Status another);

// As far as the permissions tell, a file or folder can be written.
void RequireWritable(const std::string& path, Status status, const std::string& what);

// Only one run at a time changes anything: as long as the file that this returns is open, others
// wait. The lock's folder must exist.
std::unique_ptr<File> LockRuns();
