#include "Processes.h"

#include "Files.h"
#include "Waiting.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

// The posix_spawn functions return the number of the error.
void CheckSpawn(int error, const std::string& program) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), program);
    }
}

// How a program is started: with its output in a pipe and in a process group of its own.
class Plan {
public:
    Plan(const std::string& program, int output) {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
        CheckSpawn(
            posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0),
            program);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
            CheckSpawn(posix_spawn_file_actions_adddup2(&actions, output, stream), program);
        }
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        // Their effect cannot be changed.
        sigdelset(&all, SIGKILL);
        sigdelset(&all, SIGSTOP);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF
                                                  | POSIX_SPAWN_SETPGROUP);
    }
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
    ~Plan() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }

    pid_t CarryOut(const std::string& program, const std::vector<std::string>& words) const {
        std::vector<char*> arguments;
        for (const std::string& word : words) {
            arguments.push_back(const_cast<char*>(word.c_str())); // NOLINT
        }
        arguments.push_back(nullptr);
        char path[] = "PATH=/usr/bin:/bin:/usr/sbin:/sbin";
        char* environment[] = {path, nullptr};
        pid_t process = 0;
        CheckSpawn(posix_spawn(&process, program.c_str(), &actions, &attributes, arguments.data(),
                               environment),
                   program);
        return process;
    }

private:
    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

// The result of a system call, which is made again if only a signal interrupted it.
template <typename Call>
int Patiently(Call call, const char* name) {
    int result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return Checked(result, name);
}

// Reads until nobody can write any longer.
std::string ReadAll(int pipe, pid_t group) {
    constexpr int MOMENT = 50;
    std::string output;
    while (true) {
        if (IsInterrupted()) {
            kill(-group, SIGKILL);
        }
        pollfd waiting{pipe, POLLIN, 0};
        if (Patiently([&] { return poll(&waiting, 1, MOMENT); }, "poll") == 1) {
            char buffer[4096];
            const int size = Patiently(
                [&] { return static_cast<int>(read(pipe, buffer, sizeof buffer)); }, "pipe");
            if (size == 0) {
                return output;
            }
            output.append(buffer, static_cast<std::size_t>(size));
        }
    }
}

int WaitFor(pid_t process) {
    int status = 0;
    Patiently([&] { return waitpid(process, &status, 0); }, "waitpid");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

Outcome Start(const std::string& program, const std::vector<std::string>& words) {
    int ends[2];
    Checked(pipe(ends), "pipe");
    const Descriptor reading(ends[0]);
    auto writing = std::make_unique<Descriptor>(ends[1]);
    for (const int end : ends) {
        Checked(fcntl(end, F_SETFD, FD_CLOEXEC), "pipe");
    }
    const pid_t process = Plan(program, writing->Get()).CarryOut(program, words);
    writing.reset();
    try {
        std::string output = ReadAll(reading.Get(), process);
        return {WaitFor(process), std::move(output)};
    } catch (...) {
        kill(-process, SIGKILL);
        WaitFor(process);
        throw;
    }
}
