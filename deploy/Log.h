#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

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
    Failure(Status meaning, const std::string& reason)
        : std::runtime_error(reason), status(meaning) {}
    Status status;
};

inline void Require(bool holds, Status status, const std::string& otherwise) {
    if (!holds) {
        throw Failure(status, otherwise);
    }
}

// Runs an action. Anything it throws but a Failure becomes one, with this status and with "what: "
// before its own message.
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

// Writes a line with the time to standard error, and the text to the system's log. What cannot be
// logged changes nothing else.
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

// The time in UTC, such as 2026-01-31T23:59:59Z.
std::string Now();

// The text as one line of UTF-8 that can be read back: a line break as \n, a backslash as \\, other
// control characters and bytes that are not UTF-8 as \xHH. Or as the contents of a JSON string,
// where only the bytes that are not UTF-8 become \xHH.
std::string Escaped(const std::string& text, bool json = false);

// From here on, Wait returns true for as long as this in all.
void WaitAtMost(std::chrono::seconds time);

// Waits for a moment, and logs what for unless it was for the same the last time. Returns false, at
// once, if the time is up or a signal has arrived.
bool Wait(const char* whatFor, int milliseconds = 10) noexcept;

// From here on, SIGINT, SIGTERM and SIGHUP wait until the run is ready to end, except those that
// the caller ignored. Writing to a closed pipe, or beyond the limit of a file's size, is only an
// error.
void HoldSignals();

// Whether a signal is pending, so that the run must end. RequireNoSignal throws a Failure with
// Status::NotRegistered if so.
bool IsInterrupted() noexcept;
void RequireNoSignal();

// Lets the signals in: a pending one ends the process.
void ReleaseSignals();
