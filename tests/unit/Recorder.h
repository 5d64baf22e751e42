#pragma once

#include <sqlite3.h>
#include <string>
#include <vector>

// The SQLite functions and the shell as the tests see them: linked in the place of the real ones,
// they write down each call and answer as the test wants.
struct Recorder {
    // What the functions answer. By default everything succeeds.
    int open = SQLITE_OK;
    bool openGivesHandle = true;
    int prepare = SQLITE_OK;
    std::vector<int> steps = {SQLITE_DONE}; // one after the other; the last one is repeated
    int finalize = SQLITE_OK;
    int close = SQLITE_OK;
    int shell = 0;

    // Each call as a line, such as "step(statement)".
    std::vector<std::string> calls;
    // The text of each statement that was to be compiled, and of each command that was to be run.
    std::vector<std::string> statements;
    std::vector<std::string> commands;
};

// Reset it at the beginning of a test: recorder = {};
extern Recorder recorder;
