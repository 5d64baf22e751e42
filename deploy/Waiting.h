#pragma once

#include <chrono>

// How long a run may wait in all: for another run, a lock on the database, the Extension Manager.
class Patience {
public:
    explicit Patience(std::chrono::seconds time, bool heedsSignals = true)
        : heeds(heedsSignals), end(std::chrono::steady_clock::now() + time) {}

    // Waits for a moment. Returns false, at once, when the time is over or a signal that it heeds
    // has come.
    bool Wait(std::chrono::milliseconds moment = std::chrono::milliseconds(10)) const;

private:
    bool heeds;
    std::chrono::steady_clock::time_point end;
};

// From here on SIGINT, SIGTERM and SIGHUP wait until the run is ready to end, but for those that
// the caller had ignored. Writing to a closed pipe, or a file beyond the limit, is an error only.
void HoldSignals();

// Whether a signal waits, so that the run has to end.
bool IsInterrupted();

// Lets the signals in: the process dies by one that waits.
void ReleaseSignals();
