#pragma once

#include "Waiting.h"

#include <memory>
#include <string>

// A copy of the database in which what a crashed program left half written is rolled back: what
// any program would find that opens the database for writing. If a run was killed while replacing
// the database, it is what the next run will make of that. It is in a folder of its own, which only
// this user can look into, and is removed at the end of its scope.
class RecoveredCopy {
public:
    // Makes the copy, somewhere below a folder, if it is needed; otherwise returns nothing. The
    // database is only read. Throws std::system_error, a DatabaseError if it cannot be recovered,
    // and a Failure with Status::DatabaseInUse.
    static std::unique_ptr<RecoveredCopy> IfNeeded(const std::string& below,
                                                   const Patience& patience);

    // Makes the copy whether a program has crashed or not.
    RecoveredCopy(const std::string& below, const Patience& patience);
    RecoveredCopy(const RecoveredCopy&) = delete;
    RecoveredCopy& operator=(const RecoveredCopy&) = delete;
    ~RecoveredCopy();

    std::string Path() const;

private:
    // Only makes the folder, which the destructor then removes whatever fails.
    explicit RecoveredCopy(const std::string& below);

    std::string folder;
};
