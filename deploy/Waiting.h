#pragma once

#include <chrono>

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
