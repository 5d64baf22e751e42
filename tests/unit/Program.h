#pragma once

#include <string>
#include <vector>

// The program's main under another name.
int TamselMain(int argc, char* argv[]);

// What the program is started with: its own name, then its arguments.
using Words = std::vector<std::string>;

// Every form of the command line but a registration.
extern const std::vector<Words> OTHER_FORMS;

struct Outcome {
    int status;
    std::string printed;
    // Whether the allocation that was to fail has been reached.
    bool allocationFailed;
    // Whether std::bad_alloc escaped main. There is no status then.
    bool thrown;
};

// Runs the program in this process. Of its allocations with new, the one of this number fails: 1 is
// the first, and at 0 none fails.
Outcome RunProgram(Words words, long failing = 0);
