#pragma once

#include "Recorder.h"

// One way that a statement can go, from the opening of the database to its closing: what SQLite
// answers, and what must then be called, printed and returned.
struct Scenario {
    Answers answers;
    bool succeeds;
    const char* calls;
    const char* printed;
};

// 101 says that a statement is done.
inline constexpr Scenario SCENARIOS[] = {
    {{0, 0, 0, 101, 0, 0},
     true,
     "open prepare step finalize(statement) close(database)",
     "Return code after executing SQL: 101\n\nFinalized statemant: 0\n\nClosed database: 0\n\n"},
    {{0, 0, 2, 101, 0, 0},
     true,
     "open prepare step step step finalize(statement) close(database)",
     "Return code after executing SQL: 101\n\nFinalized statemant: 0\n\nClosed database: 0\n\n"},
    // What comes after the last step changes nothing.
    {{0, 0, 0, 101, 10, 0},
     true,
     "open prepare step finalize(statement) close(database)",
     "Return code after executing SQL: 101\n\nFinalized statemant: 10\n\nClosed database: 0\n\n"},
    {{0, 0, 0, 101, 0, 5},
     true,
     "open prepare step finalize(statement) close(database)",
     "Return code after executing SQL: 101\n\nFinalized statemant: 0\n\nClosed database: 5\n\n"},
    // A step fails. Zero, which SQLite never answers to one, is no success.
    {{0, 0, 0, 0, 0, 0},
     false,
     "open prepare step finalize(statement) close(database)",
     "Return code after executing SQL: 0\n\nFinalized statemant: 0\n\nClosed database: 0\n\n"},
    {{0, 0, 0, 19, 19, 5},
     false,
     "open prepare step finalize(statement) close(database)",
     "Return code after executing SQL: 19\n\nFinalized statemant: 19\n\nClosed database: 5\n\n"},
    {{0, 0, 0, 21, 0, 0},
     false,
     "open prepare step finalize(statement) close(database)",
     "Return code after executing SQL: 21\n\nFinalized statemant: 0\n\nClosed database: 0\n\n"},
    {{0, 0, 1, 13, 13, 0},
     false,
     "open prepare step step finalize(statement) close(database)",
     "Return code after executing SQL: 13\n\nFinalized statemant: 13\n\nClosed database: 0\n\n"},
    // The statement does not compile.
    {{0, 1, 0, 0, 0, 0},
     false,
     "open prepare errmsg(database) finalize(null) close(database)",
     "ERROR: while compiling sql: %s%d%n\n\nFinalized statemant: 0\n\nClosed database: 0\n\n"},
    {{0, 26, 0, 0, 0, 5},
     false,
     "open prepare errmsg(database) finalize(null) close(database)",
     "ERROR: while compiling sql: %s%d%n\n\nFinalized statemant: 0\n\nClosed database: 5\n\n"},
    // The database does not open. Without memory there is no connection.
    {{14, 0, 0, 0, 0, 0},
     false,
     "open errmsg(database) close(database)",
     "ERROR: can't open database: %s%d%n\n\nClosed database: 0\n\n"},
    {{7, 0, 0, 0, 0, 0},
     false,
     "open errmsg(null) close(null)",
     "ERROR: can't open database: %s%d%n\n\nClosed database: 0\n\n"},
};
