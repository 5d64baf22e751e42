#pragma once

#include <chrono>

// How long a run may wait in all: for another run, a lock on the database, the Extension Manager.
class Patience {
public:
    explicit Patience(std::chrono::seconds time, bool heedsSignals = true)
        : heeds(heedsSignals), end(std::chrono::steady_clock::now() + time) {}

    // Waits for a moment. Returns false, at once, if the time is up or a signal that it heeds has
    // arrived.
    bool Wait(std::chrono::milliseconds moment = std::chrono::milliseconds(10)) const;

private:
    bool heeds;
    std::chrono::steady_clock::time_point end;
};

// From here on, SIGINT, SIGTERM and SIGHUP wait until the run is ready to end, except those that
// the caller ignored. Writing to a closed pipe, or beyond the limit of a file's size, is only an
// error.
void HoldSignals();

// Whether a signal is pending, so that the run must end.
bool IsInterrupted();

// Lets the signals in: a pending one ends the process.
void ReleaseSignals();
