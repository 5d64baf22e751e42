#pragma once

#include <chrono>
#include <string>
#include <vector>

// Each value but the first is the letter of its option.
enum class Command : char {
    Register,
    DryRun = 'd',
    Help = 'h',
    List = 'l',
    Restore = 'r',
    Verify = 'v',
    Version = 'V',
};

// What was asked for on the command line.
struct Options {
    Command command = Command::Register;
    std::chrono::seconds wait{10};
    bool replaceFile = false;
    bool json = false;
    // The applications, as given; with Command::Restore the backup, or nothing.
    std::vector<std::string> words;
};

// Throws a Failure with Status::WrongUsage; prints nothing.
Options ReadOptions(int argc, char* argv[]);

// What -h prints.
std::string Help();
