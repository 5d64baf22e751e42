#pragma once

#include "Files.h"
#include "Waiting.h"

// Makes sure that only one run at a time changes anything. The programs that it starts inherit the
// lock, so it is held until the last one that could still write has ended, even if the run itself
// is killed.
class RunLock {
public:
    // Waits for another run while patience lasts. The folder of the lock must exist. Throws a
    // Failure with Status::AnotherRun, or Status::NoBackup if there can be no lock.
    explicit RunLock(const Patience& patience);

private:
    Descriptor file;
};
