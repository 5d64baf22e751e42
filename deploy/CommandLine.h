#pragma once

#include "Backups.h"

// Those that are for applications come first.
enum class Command : unsigned char { Register, DryRun, Verify, Restore, List, Help, Version };

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

// The result of a run.
struct Report {
    // Of the first failure, and what the log said of it.
    Status status = Status::Done;
    std::string reason;
    // The backup that the run made or used, and the one that it restored; names, or empty.
    std::string backup;
    std::string restored;
    // Whether anything of the Extension Manager's has changed, or may have.
    bool hasChanged = false;
    std::vector<Application> applications;
    std::vector<Backup> backups; // with --list, the oldest first

    // Logs a failure, of the run or of one of the applications. The first one gives the status.
    void Fail(Status failure, const std::string& why);
    void Fail(Application& application, Status failure, const std::string& why);
};

// The result as lines, or as one line of JSON.
std::string Lines(const Report& report);
std::string Json(const Report& report, Command command);
