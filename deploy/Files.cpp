#include "Files.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <ftw.h>
#include <sys/file.h>
#include <system_error>
#ifdef __APPLE__
#include <mach-o/dyld.h>
#endif

namespace {

using Buffer = std::array<char, 65536>;

// With O_NONBLOCK nobody's pipe keeps root waiting.
constexpr int READING = O_RDONLY | O_NONBLOCK;
constexpr int MAKING = O_WRONLY | O_CREAT | O_EXCL;

// The next bytes of an open file, as many as the buffer can hold; none at its end.
std::string_view Read(const File& file, Buffer& buffer) {
    const int size = Checked(read(file.number, buffer.data(), buffer.size()), file.path);
    return {buffer.data(), static_cast<std::size_t>(size)};
}

void Write(const File& file, std::string_view bytes) {
    while (!bytes.empty()) {
        const int written = Checked(write(file.number, bytes.data(), bytes.size()), file.path);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void Sync(const File& file, const std::string& path) {
#ifdef F_FULLFSYNC
    // Not every file system supports it.
    if (fcntl(file.number, F_FULLFSYNC) == 0) {
        return;
    }
#endif
    Checked(fsync(file.number), path);
}

} // namespace

int Checked(long result, const std::string& path) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return static_cast<int>(result);
}

mode_t KindOf(const std::string& path) {
    struct stat status {};
    const bool isThere = lstat(path.c_str(), &status) == 0;
    Checked(isThere || errno == ENOENT || errno == ENOTDIR ? 0 : -1, path);
    return isThere ? status.st_mode & S_IFMT : NOTHING;
}

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    Checked(lstat(path.c_str(), &status), path);
    return status;
}

std::string Resolved(const std::string& path) {
    std::array<char, PATH_MAX> resolved{};
    return realpath(path.c_str(), resolved.data()) == nullptr ? "" : resolved.data();
}

bool HoldSame(const std::string& one, const std::string& other) {
    if (KindOf(one) != S_IFREG || KindOf(other) != S_IFREG) {
        return false;
    }
    const File files[] = {{one, READING}, {other, READING}};
    Buffer buffers[2];
    std::string_view bytes;
    std::string_view others;
    do {
        bytes = Read(files[0], buffers[0]);
        others = Read(files[1], buffers[1]);
    } while (bytes == others && !bytes.empty());
    return bytes == others;
}

void WriteFile(const std::string& path, const std::string& content) {
    const File file(path, MAKING);
    Write(file, content);
    Sync(file, path);
}

void CopyFile(const std::string& from, const std::string& to, const struct stat& like) {
    const File source(from, READING);
    const File copy(to, MAKING);
    Buffer buffer;
    for (std::string_view bytes; bytes = Read(source, buffer), !bytes.empty();) {
        RequireNoSignal();
        Write(copy, bytes);
    }
    MakeLike(to, like);
}

void MakeLike(const std::string& path, const struct stat& like) {
    const File file(path, READING);
    Checked(fchown(file.number, like.st_uid, like.st_gid), path);
    Checked(fchmod(file.number, like.st_mode & 07777U), path);
    Sync(file, path);
}

void Rename(const std::string& from, const std::string& to) {
    Checked(rename(from.c_str(), to.c_str()), to);
    SyncFolder(GetParentDirectory(to));
}

void Remove(const std::string& path) {
    const auto removeOne = [](auto* name, auto*, int, FTW*) { return std::remove(name); };
    // On a read-only disk, even removing nothing would fail.
    if (KindOf(path) != NOTHING) {
        Checked(nftw(path.c_str(), removeOne, 8, FTW_DEPTH | FTW_PHYS), path);
    }
}

void SyncFolder(const std::string& path) {
    Sync({path + "/.", READING}, path);
}

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
        Require(KindOf(part) == S_IFREG, Status::Incomplete,
                "the installation is incomplete, please repeat it: there is no " + part);
    }
    return file;
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
