#pragma once

#include "Waiting.h"

#include <memory>
#include <string>

// A folder of its own below /tmp that only this user can look into. It is removed, with all that is
// in it, at the end of its scope.
class TemporaryFolder {
public:
    // Throws std::system_error.
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::string& Path() const { return path; }

private:
    std::string path;
};

// A copy of the database in which what a crashed program left half written is rolled back: what
// any program would find that opens the database for writing. It ends with its scope.
class RecoveredCopy {
public:
    // Makes the copy if a program has crashed; otherwise returns nothing. The database is only
    // read. Throws std::system_error, a DatabaseError if it cannot be recovered, and a Failure with
    // Status::DatabaseInUse.
    static std::unique_ptr<RecoveredCopy> IfNeeded(const Patience& patience);

    explicit RecoveredCopy(const Patience& patience);

    const std::string& Path() const { return path; }

private:
    TemporaryFolder folder;
    std::string path;
};
