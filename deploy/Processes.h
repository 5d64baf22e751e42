#pragma once

#include <string>
#include <vector>

// What a started program did.
struct Outcome {
    // The exit status, or -1 if a signal ended the program.
    int status;
    // What it printed, on standard output and standard error.
    std::string output;
};

// Starts the program at an absolute path, with these words as its arguments, the first being the
// name that it is started by, and waits until it and everything that it has started have ended. It
// gets a search path of the system's folders and nothing else in its environment, an empty standard
// input, the default handling of signals, and the open descriptors of this process that are not
// closed on exec. If a signal arrives that ends the run, the program is killed with everything that
// it has started. Throws std::system_error if it cannot be started or waited for.
Outcome Start(const std::string& program, const std::vector<std::string>& words);
