#pragma once

#include <string>
#include <vector>

// What SQLite answers from one opening of the database to its closing. There are so many rows
// before the last step.
struct Answers {
    int open;
    int prepare;
    int rows;
    int step;
    int finalize;
    int close;
};

// The SQLite functions and the shell as the tests see them: linked in place of the real ones, they
// record each call and answer as the test wants.
struct Recorder {
    // For one opening after another; then everything succeeds.
    std::vector<Answers> answers;
    int shell = 0;

    // The names of the functions of SQLite that were called, with the handles they were given.
    std::string calls;
    // The text of each statement that was to be compiled, and of each command that was to be run.
    std::vector<std::string> statements;
    std::vector<std::string> commands;
};

// Reset it at the beginning of a test: recorder = {};
extern Recorder recorder;
