#pragma once

#include <string>
#include <vector>

// What a program did that was started.
struct Outcome {
    // The exit status, or -1 where a signal ended the program.
    int status;
    // What it printed, on standard output and standard error.
    std::string output;
};

// Starts the program at an absolute path, with these words as its arguments, the first one being
// the name by which it is started, and waits until it and all that it has started have ended. It
// gets a search path of the system's folders and nothing else in its environment, an empty standard
// input, signals as they are by default, and the open descriptors of this process that are not
// closed on exec. Where a signal comes that ends the run, the program is killed with all that it
// has started. Throws std::system_error where it cannot be started or waited for.
Outcome Start(const std::string& program, const std::vector<std::string>& words);
