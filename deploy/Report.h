#pragma once

#include "Applications.h"
#include "Backups.h"
#include "Options.h"

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
    // With --list, the backups, the oldest first.
    std::vector<Backup> backups;

    // Logs a failure, of the run or of one of the applications. The first one gives the status.
    void Fail(Status failure, const std::string& why);
    void Fail(Application& application, Status failure, const std::string& why);
};

// The result as lines, or as one line of JSON.
std::string Lines(const Report& report);
std::string Json(const Report& report, Command command);
