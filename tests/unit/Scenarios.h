#pragma once

#include "Recorder.h"

#include <string>
#include <vector>

// One way that a statement can go, from the opening of the database to its closing: what SQLite
// answers, and what must then be called, printed and returned.
struct Scenario {
    std::string name;
    Recorder answers;
    bool opens;
    bool succeeds;
    std::string printed;
    std::vector<std::string> calls;
};

// A scenario for every result that matters, of every function.
const std::vector<Scenario>& Scenarios();
