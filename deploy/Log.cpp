#include "Log.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <locale>
#include <new>
#include <spawn.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int ENDING[] = {SIGINT, SIGTERM, SIGHUP};

sigset_t held;                                  // those that the caller did not ignore
std::chrono::steady_clock::time_point deadline; // of all waiting

unsigned Byte(const std::string& text, std::size_t position) {
    return static_cast<unsigned char>(text[position]);
}

// How many bytes from position on form one UTF-8 character, or 0.
std::size_t CharacterAt(const std::string& text, std::size_t position) {
    using Utf8 = std::codecvt<char32_t, char, std::mbstate_t>;
    std::mbstate_t state{};
    const int size = std::use_facet<Utf8>(std::locale::classic())
                         .length(state, &text[position], text.data() + text.size(), 1);
    // Some libraries take half of a surrogate pair for a character.
    const bool isHalf = Byte(text, position) == 0xED && Byte(text, position + 1) >= 0xA0;
    return isHalf ? 0 : static_cast<std::size_t>(size);
}

// Runs pgrep on whole command lines, since it cuts off the names of processes. Its status is 0 if
// there is such a process and 1 if there is none; anything else means that it cannot tell.
int RunPgrep() {
    char words[][64] = {"pgrep", "-f", R"(Adobe Extension Manager CC\.app/Contents/MacOS/)"};
    char* const arguments[] = {words[0], words[1], words[2], nullptr};
    char path[] = "PATH=/usr/bin:/bin:/usr/sbin:/sbin";
    char* const environment[] = {path, nullptr};
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    // What ends this group of processes must end it, too.
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t process = -1;
    int status = -1; // and stays so without such a child
    posix_spawn(&process, "/usr/bin/pgrep", &actions, &attributes, arguments, environment);
    waitpid(process, &status, 0);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

void Log(std::string_view text, std::string_view more) noexcept {
    try {
        const std::string line = Escaped(std::string(text) += more);
        std::fprintf(stderr, "%s tamsel-deploy: %s\n", Now().c_str(), line.c_str());
        syslog(LOG_NOTICE, "%s", line.c_str());
    } catch (const std::bad_alloc&) { // NOLINT
    }
}

std::string Now(bool withColons) {
    constexpr std::time_t LATEST = 253402300799; // of the years that have four digits
    const std::time_t now = std::clamp<std::time_t>(std::time(nullptr), 0, LATEST);
    std::tm parts{};
    char text[sizeof "2026-01-31T23:59:59Z"];
    std::strftime(text, sizeof text, withColons ? "%Y-%m-%dT%H:%M:%SZ" : "%Y-%m-%dT%H%M%SZ",
                  gmtime_r(&now, &parts));
    return text;
}

std::string Escaped(const std::string& text, bool json) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string escaped;
    for (std::size_t i = 0, size = 0; i < text.size(); i += size) {
        const std::size_t character = CharacterAt(text, i);
        size = std::max<std::size_t>(character, 1);
        const unsigned byte = Byte(text, i);
        const bool isFarControl = byte == 0x7F || (byte == 0xC2 && Byte(text, i + 1) < 0xA0);
        if (byte == '\\' || (json && byte == '"')) {
            escaped += {'\\', text[i]};
        } else if (byte == '\n') {
            escaped += "\\n";
        } else if (character == 0 || byte < 0x20 || (!json && isFarControl)) {
            for (std::size_t j = i; j < i + size; ++j) {
                escaped += !json ? "\\x" : character == 0 ? "\\\\x" : "\\u00";
                escaped += {DIGITS[Byte(text, j) / 16], DIGITS[Byte(text, j) % 16]};
            }
        } else {
            escaped += text.substr(i, size);
        }
    }
    return escaped;
}

void WaitAtMost(std::chrono::seconds time) {
    deadline = std::chrono::steady_clock::now() + time;
}

bool Wait(const char* whatFor, int milliseconds) noexcept {
    static const char* logged = nullptr;
    if (IsInterrupted() || std::chrono::steady_clock::now() >= deadline) {
        return false;
    }
    if (logged != whatFor) {
        logged = whatFor;
        Log("waiting for ", whatFor);
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
    return std::any_of(std::begin(ENDING), std::end(ENDING), [&pending](int one) {
        return sigismember(&pending, one) + sigismember(&held, one) == 2;
    });
}

void RequireNoSignal() {
    Require(!IsInterrupted(), Status::NotRegistered, "a signal has ended the run");
}

void RequireNoManager() {
    int status = RunPgrep();
    while (status == 0 && Wait("the Extension Manager to quit", 200)) {
        status = RunPgrep();
    }
    RequireNoSignal();
    Require(status != 0, Status::ManagerRunning,
            "the Extension Manager is running; quit it and try again");
    Require(status == 1, Status::ManagerRunning,
            "it cannot be told whether the Extension Manager is running");
}

void ReleaseSignals() {
    sigprocmask(SIG_UNBLOCK, &held, nullptr);
}
