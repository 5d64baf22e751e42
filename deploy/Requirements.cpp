#include "Requirements.h"

#include <sys/file.h>
#include <sys/wait.h>
#ifdef __APPLE__
#include <climits>
#include <mach-o/dyld.h>
#endif

namespace {

// Runs pgrep on whole command lines, since it cuts off the names of processes. Its status is 0 if
// there is such a process and 1 if there is none; anything else means that it cannot tell.
int RunPgrep() {
    constexpr char PATTERN[] = R"(Adobe Extension Manager CC\.app/Contents/MacOS/)";
    char path[] = "PATH=/usr/bin:/bin:/usr/sbin:/sbin";
    char* const environment[] = {path, nullptr};
    const pid_t process = fork();
    if (process == 0) {
        // What ends this group of processes must end it, too.
        ReleaseSignals();
        if (dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO) != -1) {
            execle("/usr/bin/pgrep", "pgrep", "-f", PATTERN, nullptr, environment);
        }
        _exit(-1);
    }
    int status = -1;
    while (process != -1 && waitpid(process, &status, 0) == -1 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

std::string RequireInstallation() {
#ifdef __APPLE__
    char path[PATH_MAX] = "";
    std::uint32_t size = sizeof path;
    const std::string program = _NSGetExecutablePath(path, &size) == 0 ? path : "";
#else
    const std::string program = "/proc/self/exe";
#endif
    const std::string folder = GetParentDirectory(Resolved(program));
    const std::string file = folder + "/Resources/" + FILENAME;
    for (const std::string& part : {folder + "/Tamsel", file}) {
        Require(KindOf(part) == S_IFREG && access(part.c_str(), R_OK) == 0, Status::Incomplete,
                "the installation is incomplete, please repeat it: there is no " + part);
    }
    return file;
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

bool RequirePlainFile(const std::string& path, Status another) {
    const mode_t kind = KindOf(path);
    Require(kind == NOTHING || kind == S_IFREG, another, path + " is not a plain file");
    return kind == S_IFREG;
}

void RequireWritable(const std::string& path, Status status, const std::string& what) {
    OrFail(status, what, [&path] { Checked(access(path.c_str(), W_OK), path); });
}

std::unique_ptr<File> LockRuns() {
    return OrFail(Status::NoBackup, "no lock could be made", [] {
        auto lock = std::make_unique<File>(LOCKFILE, O_RDWR | O_CREAT);
        while (flock(lock->number, LOCK_EX | LOCK_NB) == -1) {
            Checked(errno == EWOULDBLOCK ? 0 : -1, LOCKFILE);
            const bool goesOn = Wait("another run to end");
            RequireNoSignal();
            Require(goesOn, Status::AnotherRun,
                    "another run is at work; sudo lsof \"" + LOCKFILE + "\" names it");
        }
        return lock;
    });
}
