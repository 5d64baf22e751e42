#pragma once

#include "Applications.h"
#include "Backups.h"
#include "Options.h"
#include "Status.h"

#include <string>
#include <vector>

// What a run says: the log as it goes along, and its result at the end.
struct Report {
    // Of the first failure, and what the log said of it.
    Status status = Status::Done;
    std::string reason;
    // The names of the backup that the run made or used and of the one that it restored, or empty.
    std::string backup;
    std::string restored;
    // Whether anything of the Extension Manager's has changed, or may have.
    bool hasChanged = false;
    std::vector<Application> applications;
    // With --list, the backups, the oldest first.
    std::vector<Backup> backups;

    // Logs a failure, of the run or of one of the applications, which is settled so. The first one
    // gives the status.
    void Fail(Status failure, const std::string& why);
    void Fail(Application& application, State state, Status failure, const std::string& why);
};

// Writes a line with the time to standard error, and the text to the system's log. What cannot be
// logged changes nothing else: throws nothing.
void Log(const std::string& text) noexcept;

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

// The result of a command as one line of JSON.
std::string Json(const Report& report, Command command);
