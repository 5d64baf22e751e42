#pragma once

#include "Applications.h"
#include "Backups.h"
#include "Status.h"

#include <string>
#include <vector>

// What a run says: the log as it goes along, and its result at the end.
struct Report {
    // Of the first failure.
    Status status = Status::Done;
    // What the log said of the last failure, or empty.
    std::string reason;
    // The names of the backup that the run made and of the one that it restored, or empty.
    std::string backup;
    std::string restored;
    std::vector<Application> applications;
    // With --list, the backups, the oldest first.
    std::vector<Backup> backups;

    // Logs a failure. The first one gives the status.
    void Fail(Status failure, const std::string& why);
};

// Writes a line with the time to standard error, and the text to the system's log.
void Log(const std::string& text);

// Runs what only tidies up. A failure is logged and left to the next run.
template <typename Action>
void OrLog(Action action) {
    try {
        action();
    } catch (const std::exception& exception) {
        Log(std::string("left behind: ") + exception.what());
    }
}

// The text as one line of UTF-8 that can be read back: a line break as \n, a backslash as \\, other
// control characters and bytes that are not UTF-8 as \xHH.
std::string Escaped(const std::string& text);

// Writes a text to standard output. Returns whether all of it could be written.
bool WriteOut(const std::string& text);

// The result as lines.
std::string Lines(const Report& report);

// The result as one line of JSON, with the backups if they were asked for.
std::string Json(const Report& report, bool isList);
