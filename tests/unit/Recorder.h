#pragma once

#include <sqlite3.h>
#include <string>
#include <vector>

// The SQLite functions and the shell as the tests see them: linked in place of the real ones, they
// record each call and answer as the test wants.
struct Recorder {
    // What the functions answer, one call after another; the last answer is repeated. By default
    // everything succeeds. An open without memory gives no handle.
    using Answers = std::vector<int>;
    Answers open = {SQLITE_OK};
    Answers prepare = {SQLITE_OK};
    Answers step = {SQLITE_DONE};
    Answers finalize = {SQLITE_OK};
    Answers close = {SQLITE_OK};
    int shell = 0;
    std::string message = "what SQLite says";

    // Each call as a line, such as "step(statement)".
    std::vector<std::string> calls;
    // The text of each statement that was to be compiled, and of each command that was to be run.
    std::vector<std::string> statements;
    std::vector<std::string> commands;
};

// Reset it at the beginning of a test: recorder = {};
extern Recorder recorder;
