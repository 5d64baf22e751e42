#pragma once

#include <chrono>

// How long a run may wait in all: for another run, a lock on the database, the Extension Manager.
class Patience {
public:
    explicit Patience(std::chrono::seconds time) : end(std::chrono::steady_clock::now() + time) {}

    // The same whatever signals come.
    static Patience Unshaken(std::chrono::seconds time);

    // Waits for a moment. Returns false, at once, when the time is over or a signal has come.
    bool Wait(std::chrono::milliseconds moment = std::chrono::milliseconds(10)) const;

private:
    bool minds = true;
    std::chrono::steady_clock::time_point end;
};

// From here on SIGINT, SIGTERM and SIGHUP wait until the run is ready to end, but for those that
// the caller had ignored. Writing to a closed pipe, or a file beyond the limit, is an error only.
void HoldSignals();

// Whether a signal waits, so that the run has to end.
bool IsInterrupted();

// Lets the signals in: the process dies by one that waits.
void ReleaseSignals();
