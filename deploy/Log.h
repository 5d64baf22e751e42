#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>

// How a run ended: its exit status. Help() has the words for each.
enum class Status : unsigned char {
    Done,
    NotRegistered,
    WrongUsage,
    NotRoot,
    ManagerRunning,
    NoDatabase,
    NoApplication,
    NoBackup,
    NoFile,
    NotRestored,
    Incomplete,
    AnotherRun,
    DatabaseInUse,
    NotTheDatabase,
    NotWritten
};

// What ends a run, or the registration of an application: a status, and a sentence for the log.
struct Failure : std::runtime_error {
    Failure(Status meaning, const std::string& why) : std::runtime_error(why), status(meaning) {}
    Status status;
};

inline void Require(bool holds, Status status, const std::string& otherwise) {
    if (!holds) {
        throw Failure(status, otherwise);
    }
}

// Anything that the action throws but a Failure becomes one, with "what: " before its message.
template <typename Action>
auto OrFail(Status status, const std::string& what, Action action) {
    try {
        return action();
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& exception) {
        throw Failure(status, what + ": " + exception.what());
    }
}

// Writes the time and both texts to standard error, and the texts to the system's log, if it can.
void Log(std::string_view text, std::string_view more = {}) noexcept;

// Runs what only tidies up. A failure is logged and left to the next run.
template <typename Action>
void OrLog(Action action) {
    try {
        action();
    } catch (const std::exception& exception) {
        Log("left behind: ", exception.what());
    }
}

// The time in UTC, such as 2026-01-31T23:59:59Z, or without the colons.
std::string Now(bool withColons = true);
// The text as one line of UTF-8 that can be read back: \n for a line break, \\ for a backslash,
// \xHH for other control characters and what is not UTF-8; in a JSON string only for the latter.
std::string Escaped(const std::string& text, bool json = false);

// Waits for a moment, and logs what for unless it was for the same the last time. Returns false, at
// once, if a signal has arrived or the time that WaitAtMost has set, for all, is up.
bool Wait(const char* whatFor, int milliseconds = 10) noexcept;
void WaitAtMost(std::chrono::seconds time);
// The Extension Manager must not be running, or must quit in time; otherwise throws a Failure.
void RequireNoManager();

// Between these two SIGINT, SIGTERM and SIGHUP wait, except those that the caller ignored; then
// they end the process. To write to a closed pipe, or beyond the limit of a file, is an error.
void HoldSignals();
void ReleaseSignals();
// Whether one of them waits. RequireNoSignal throws a Failure with Status::NotRegistered if so.
bool IsInterrupted() noexcept;
void RequireNoSignal();
