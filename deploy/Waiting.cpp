#include "Waiting.h"

#include "Log.h"

#include <csignal>
#include <thread>

namespace {

constexpr int ENDING[] = {SIGINT, SIGTERM, SIGHUP};

// Those that the caller did not ignore.
sigset_t held;

std::chrono::steady_clock::time_point end;

} // namespace

void WaitAtMost(std::chrono::seconds time) {
    end = std::chrono::steady_clock::now() + time;
}

bool Wait(const char* whatFor, int milliseconds) noexcept {
    static const char* logged = nullptr;
    if (IsInterrupted() || std::chrono::steady_clock::now() >= end) {
        return false;
    }
    if (logged != whatFor) {
        logged = whatFor;
        Log(std::string("waiting for ") + whatFor);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return true;
}

void HoldSignals() {
    sigemptyset(&held);
    for (const int number : ENDING) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&held, number);
        }
    }
    sigprocmask(SIG_BLOCK, &held, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // If it were ignored, nobody would learn how a program has ended.
    std::signal(SIGCHLD, SIG_DFL);
}

bool IsInterrupted() noexcept {
    sigset_t pending;
    sigpending(&pending);
    bool isAny = false;
    for (const int number : ENDING) {
        isAny = isAny || sigismember(&pending, number) == 1;
    }
    return isAny;
}

void RequireNoSignal() {
    Require(!IsInterrupted(), Status::NotRegistered, "a signal has ended the run");
}

void ReleaseSignals() {
    sigprocmask(SIG_UNBLOCK, &held, nullptr);
}
