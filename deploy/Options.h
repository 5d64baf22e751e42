#pragma once

#include <chrono>
#include <string>
#include <vector>

// Those that are for applications come first.
enum class Command : unsigned char { Register, DryRun, Verify, Restore, List, Help, Version };

// Its name in the result as JSON, such as "dry-run".
std::string Name(Command command);

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

// What -h prints, at most 80 columns wide.
std::string Help();
