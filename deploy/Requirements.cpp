#include "Requirements.h"

#include "Database.h"
#include "Files.h"
#include "Places.h"
#include "Processes.h"
#include "Status.h"

#include <cstdint>
#include <stdexcept>
#include <sys/statvfs.h>
#include <unistd.h>
#ifdef __APPLE__
#include <array>
#include <climits>
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

// Whether there is a plain file. Anything else in its place is a failure, with the second status.
bool IsPlainFile(const std::string& path, Status unknown, Status another) {
    const Kind kind = OrFail(unknown, "it cannot be looked at", [&path] { return KindOf(path); });
    if (kind != Kind::Nothing && kind != Kind::File) {
        throw Failure(another, path + " is not a plain file");
    }
    return kind == Kind::File;
}

void RequireFree(const std::string& folder, std::uintmax_t bytes) {
    struct statvfs disk {};
    Checked(statvfs(folder.c_str(), &disk), folder);
    if (std::uintmax_t{disk.f_bavail} * disk.f_frsize < bytes) {
        throw std::runtime_error("no room in " + folder);
    }
}

} // namespace

void RequireRoot() {
    if (geteuid() != 0) {
        throw Failure(Status::NotRoot, "please start this as root, with sudo for example");
    }
}

Package RequireTamsel() {
    const std::string folder = GetParentDirectory(OwnPath());
    Package package{folder + "/Tamsel", folder + "/Resources/" + FILENAME};
    const auto require = [](const std::string& path, int use) {
        if (KindOf(path) != Kind::File || access(path.c_str(), use) == -1) {
            throw Failure(Status::Incomplete, path + " is missing");
        }
    };
    require(package.program, X_OK);
    require(package.file, R_OK);
    return package;
}

void RequireNoManager(const Patience& patience) {
    constexpr int FOUND = 0;
    constexpr int NONE = 1;
    const std::string unknown = "it cannot be told whether the Extension Manager is running";
    while (true) {
        // The whole command line, since pgrep cuts off the names of processes.
        const int status = OrFail(Status::ManagerRunning, unknown, [] {
            return Start("/usr/bin/pgrep",
                         {"pgrep", "-f", R"(Adobe Extension Manager CC\.app/Contents/MacOS/)"})
                .status;
        });
        if (status == NONE) {
            return;
        }
        if (status != FOUND) {
            throw Failure(Status::ManagerRunning, unknown);
        }
        if (!patience.Wait(std::chrono::milliseconds(200))) {
            throw Failure(Status::ManagerRunning,
                          "the Extension Manager is running; please quit it and try again");
        }
    }
}

void RequireDatabase(bool mustBeThere) {
    if (!IsPlainFile(DATABASE, Status::NotRoot, Status::NotTheDatabase) && mustBeThere) {
        throw Failure(Status::NoDatabase,
                      "there is no database " + DATABASE + "; is the Extension Manager installed?");
    }
}

void RequirePlainFile() {
    IsPlainFile(INSTALLEDFILE, Status::NoFile, Status::NoFile);
}

bool IsWritable(const Patience& patience) {
    // Opening reads nothing, so nothing is rolled back. What SQLite may not write, it opens for
    // reading only.
    Database database(DATABASE, READWRITE, patience);
    return sqlite3_db_readonly(database.Handle(), "main") == 0
           && access(DATABASEFOLDER.c_str(), W_OK) == 0;
}

void RequireWritable(const Patience& patience) {
    if (!IsWritable(patience)) {
        throw Failure(Status::NotRegistered, "the database, or its folder, cannot be written");
    }
}

void RequireUnlocked(const Patience& patience) {
    // Readers count, too: Tamsel would meet them at the end of its writing.
    Database(DATABASE, READWRITE, patience).LockExclusively();
}

void RequireWritableFile() {
    OrFail(Status::NoFile, "XManConfigV2.xml cannot be put in place", [] {
        for (const std::string& path : {CONFIGURATION, INSTALLEDFILE}) {
            Checked(KindOf(path) == Kind::Nothing ? 0 : access(path.c_str(), W_OK), path);
        }
    });
}

std::string RequirePlace() {
    return OrFail(Status::NoBackup, "no backup could be made", [] {
        std::string folder = BACKUPS;
        while (KindOf(folder) == Kind::Nothing) {
            folder = GetParentDirectory(folder);
        }
        Checked(access((folder + "/.").c_str(), W_OK), folder);
        if (KindOf(LOCKFILE) != Kind::Nothing && KindOf(LOCKFILE) != Kind::File) {
            throw std::runtime_error(LOCKFILE + " is not a plain file");
        }
        return folder;
    });
}

void RequireRoom() {
    const std::string folder = RequirePlace();
    OrFail(Status::NoBackup, "no backup could be made", [&folder] {
        constexpr std::uintmax_t BESIDES = 4U << 20U;
        std::uintmax_t needed = BESIDES;
        for (const std::string& path : {DATABASE, DATABASE + "-wal", INSTALLEDFILE}) {
            needed += KindOf(path) == Kind::File
                          ? static_cast<std::uintmax_t>(StatusOf(path).st_size)
                          : 0;
        }
        RequireFree(folder, needed);
        RequireFree(DATABASEFOLDER, RESERVED);
    });
}
