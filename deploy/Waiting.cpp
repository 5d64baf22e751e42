#include "Waiting.h"

#include <csignal>
#include <initializer_list>
#include <thread>

namespace {

constexpr int ENDING[] = {SIGINT, SIGTERM, SIGHUP};

// Those that the caller did not ignore.
sigset_t held;

} // namespace

bool Patience::Wait(std::chrono::milliseconds moment) const {
    if ((heeds && IsInterrupted()) || std::chrono::steady_clock::now() >= end) {
        return false;
    }
    std::this_thread::sleep_for(moment);
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
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        std::signal(number, SIG_IGN);
    }
    // If it were ignored, nobody would learn how a program has ended.
    std::signal(SIGCHLD, SIG_DFL);
}

bool IsInterrupted() {
    sigset_t waiting;
    sigemptyset(&waiting);
    sigpending(&waiting);
    for (const int number : ENDING) {
        if (sigismember(&waiting, number) == 1) {
            return true;
        }
    }
    return false;
}

void ReleaseSignals() {
    sigprocmask(SIG_UNBLOCK, &held, nullptr);
}
