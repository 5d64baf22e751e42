#pragma once

#include <chrono>
#include <string>
#include <vector>

// Those that are for applications come first.
enum class Command : unsigned char { Register, DryRun, Verify, Restore, List, Help, Version };

// Such as "dry-run".
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

// Throws a Failure with Status::WrongUsage.
Options ReadOptions(int argc, char* argv[]);

// What -h prints.
std::string Help();
