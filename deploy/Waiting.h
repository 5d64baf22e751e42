#pragma once

#include <chrono>

// How long a run may wait in all.
class Patience {
public:
    explicit Patience(std::chrono::seconds time) : end(std::chrono::steady_clock::now() + time) {}

    // Waits for a moment, and logs what for unless it was for the same the last time. Returns
    // false, at once, if the time is up or a signal has arrived.
    bool Wait(const char* whatFor,
              std::chrono::milliseconds moment = std::chrono::milliseconds(10)) noexcept;

private:
    std::chrono::steady_clock::time_point end;
    const char* logged = nullptr;
};

// From here on, SIGINT, SIGTERM and SIGHUP wait until the run is ready to end, except those that
// the caller ignored. Writing to a closed pipe, or beyond the limit of a file's size, is only an
// error.
void HoldSignals();

// Whether a signal is pending, so that the run must end.
bool IsInterrupted() noexcept;

// Throws a Failure with Status::NotRegistered if so.
void RequireNoSignal();

// Lets the signals in: a pending one ends the process.
void ReleaseSignals();
