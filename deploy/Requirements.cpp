#include "Requirements.h"

#include "Backups.h"
#include "Files.h"
#include "Places.h"
#include "Status.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace {

// The path of this program, with all links resolved.
std::string OwnPath() {
#ifdef __APPLE__
    std::array<char, PATH_MAX> started{};
    auto size = static_cast<std::uint32_t>(started.size());
    const std::string path = _NSGetExecutablePath(started.data(), &size) == 0 ? started.data() : "";
#else
    const std::string path = "/proc/self/exe";
#endif
    return Resolved(path);
}

// Whether there is a plain file. Anything else in its place is a failure.
bool IsPlainFile(const std::string& path, Status another) {
    const Kind kind = KindOf(path);
    if (kind != Kind::Nothing && kind != Kind::File) {
        throw Failure(another, path + " is not a plain file");
    }
    return kind == Kind::File;
}

void RequireAccess(const std::string& path, Status status, const std::string& what) {
    OrFail(status, what, [&path] { Checked(access(path.c_str(), W_OK), path); });
}

// Runs pgrep on whole command lines, since it cuts off the names of processes. Its status is 0 if
// there is such a process and 1 if there is none; anything else means that it cannot tell.
int RunPgrep() {
    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    // What ends this group of processes must end it, too.
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    char words[][64] = {"pgrep", "-f", R"(Adobe Extension Manager CC\.app/Contents/MacOS/)"};
    char* arguments[] = {words[0], words[1], words[2], nullptr};
    char path[] = "PATH=/usr/bin:/bin:/usr/sbin:/sbin";
    char* environment[] = {path, nullptr};
    pid_t process = 0;
    int status = -1;
    if (posix_spawn(&process, "/usr/bin/pgrep", &actions, &attributes, arguments, environment)
        == 0) {
        while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
        }
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

void RequireRoot() {
    if (geteuid() != 0) {
        throw Failure(Status::NotRoot, "this needs root; start it with sudo");
    }
}

std::string RequireInstallation() {
    const std::string folder = GetParentDirectory(OwnPath());
    const std::string file = folder + "/Resources/" + FILENAME;
    for (const std::string& path : {folder + "/Tamsel", file}) {
        if (KindOf(path) != Kind::File || access(path.c_str(), R_OK) == -1) {
            throw Failure(Status::Incomplete,
                          "the installation is incomplete, please repeat it: there is no " + path);
        }
    }
    return file;
}

void RequireNoManager(Patience& patience) {
    int status = 0;
    while (status = RunPgrep(), status == 0) {
        if (!patience.Wait("the Extension Manager to quit", std::chrono::milliseconds(200))) {
            RequireNoSignal();
            throw Failure(Status::ManagerRunning,
                          "the Extension Manager is running; quit it and try again");
        }
    }
    RequireNoSignal();
    if (status != 1) {
        throw Failure(Status::ManagerRunning,
                      "it cannot be told whether the Extension Manager is running");
    }
}

void RequireDatabase(bool mustBeThere) {
    if (!IsPlainFile(DATABASE, Status::NotTheDatabase) && mustBeThere) {
        throw Failure(Status::NoDatabase,
                      "there is no database " + DATABASE + "; is the Extension Manager installed?");
    }
}

void RequirePlainFile() {
    IsPlainFile(INSTALLEDFILE, Status::NoFile);
}

void RequireWritableDatabase() {
    for (const std::string& path : {DATABASE, DATABASEFOLDER}) {
        RequireAccess(path, Status::NotRegistered, "the database cannot be written");
    }
}

void RequireWritableBackups(bool make) {
    OrFail(Status::NoBackup, "no backup could be made", [make] {
        RequireBackups(make);
        std::string folder = BACKUPS;
        while (KindOf(folder) == Kind::Nothing) {
            folder = GetParentDirectory(folder);
        }
        Checked(access(folder.c_str(), W_OK), folder);
        IsPlainFile(LOCKFILE, Status::NoBackup);
    });
}

void RequireWritableFile() {
    RequireAccess(CONFIGURATION, Status::NoFile, FILENAME + " cannot be put in place");
}

int LockRuns(Patience& patience) {
    constexpr int MAKING = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
    return OrFail(Status::NoBackup, "no lock could be made", [&patience] {
        const int file = Checked(open(LOCKFILE.c_str(), MAKING, 0600), LOCKFILE);
        while (flock(file, LOCK_EX | LOCK_NB) == -1) {
            Checked(errno == EWOULDBLOCK ? 0 : -1, LOCKFILE);
            if (!patience.Wait("another run to end")) {
                RequireNoSignal();
                throw Failure(Status::AnotherRun,
                              "another run is at work; sudo lsof \"" + LOCKFILE + "\" names it");
            }
        }
        return file;
    });
}
