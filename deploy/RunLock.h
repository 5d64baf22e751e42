#pragma once

#include "Files.h"
#include "Waiting.h"

// Makes sure that one run at a time changes anything. What is started meanwhile inherits the lock,
// so that it is held until the last program that could still write has ended, even where the run
// itself is killed.
class RunLock {
public:
    // Waits for another run while patience lasts. The folder of the lock must be there. Throws a
    // Failure with Status::AnotherRun, or Status::NoBackup where there can be no lock.
    explicit RunLock(const Patience& patience);

private:
    Descriptor file;
};
