#include "Files.h"

#include "PathUtils.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <ftw.h>
#include <string_view>
#include <system_error>
#include <tuple>
#include <unistd.h>

namespace {

// O_NONBLOCK, so that nobody's pipe keeps root waiting.
constexpr int READING = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr int MAKING = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t PRIVATE = 0600;
constexpr mode_t PERMISSIONS = 07777;

void Sync(int file, const std::string& path) {
#ifdef F_FULLFSYNC
    // Not every file system supports it.
    if (fcntl(file, F_FULLFSYNC) == 0) {
        return;
    }
#endif
    Checked(fsync(file), path);
}

void Write(int file, std::string_view bytes, const std::string& path) {
    while (!bytes.empty()) {
        const auto written = write(file, bytes.data(), bytes.size());
        bytes.remove_prefix(static_cast<std::size_t>(Checked(static_cast<int>(written), path)));
    }
}

// Hands each piece of a file to an action.
template <typename Action>
void Read(const std::string& path, Action action) {
    const Descriptor file(Checked(open(path.c_str(), READING), path));
    char buffer[65536];
    while (const int size =
               Checked(static_cast<int>(read(file.Get(), buffer, sizeof buffer)), path)) {
        action(std::string_view(buffer, static_cast<std::size_t>(size)));
    }
}

int RemoveEntry(const char* path, const struct stat* /*status*/, int /*kind*/, FTW* /*walk*/) {
    return std::remove(path);
}

} // namespace

int Checked(int result, const std::string& path) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return result;
}

Descriptor::~Descriptor() {
    close(itsNumber);
}

Kind KindOf(const std::string& path) {
    struct stat status {};
    const int result = lstat(path.c_str(), &status);
    if (result == -1 && (errno == ENOENT || errno == ENOTDIR)) {
        return Kind::Nothing;
    }
    Checked(result, path);
    return S_ISREG(status.st_mode)   ? Kind::File
           : S_ISDIR(status.st_mode) ? Kind::Folder
                                     : Kind::Other;
}

std::string Resolved(const std::string& path) {
    std::array<char, PATH_MAX> resolved{};
    return realpath(path.c_str(), resolved.data()) == nullptr ? "" : resolved.data();
}

std::string ReadFile(const std::string& path) {
    std::string content;
    Read(path, [&content](std::string_view bytes) { content += bytes; });
    return content;
}

bool AreSame(const std::string& one, const std::string& other) {
    const Kind kind = KindOf(one);
    if (kind != KindOf(other) || kind == Kind::Nothing) {
        return kind == KindOf(other);
    }
    const struct stat status = StatusOf(one);
    const struct stat others = StatusOf(other);
    return std::tie(status.st_mode, status.st_uid, status.st_gid)
               == std::tie(others.st_mode, others.st_uid, others.st_gid)
           && ReadFile(one) == ReadFile(other);
}

void WriteFile(const std::string& path, const std::string& content) {
    const Descriptor file(Checked(open(path.c_str(), MAKING, PRIVATE), path));
    Write(file.Get(), content, path);
    Sync(file.Get(), path);
}

void CopyFile(const std::string& from, const std::string& to, const struct stat& like) {
    const Descriptor file(Checked(open(to.c_str(), MAKING, PRIVATE), to));
    Read(from, [&](std::string_view bytes) { Write(file.Get(), bytes, to); });
    Checked(fchown(file.Get(), like.st_uid, like.st_gid), to);
    Checked(fchmod(file.Get(), like.st_mode & PERMISSIONS), to);
    Sync(file.Get(), to);
}

struct stat StatusOf(const std::string& path) {
    struct stat status {};
    Checked(lstat(path.c_str(), &status), path);
    return status;
}

void Move(const std::string& from, const std::string& to) {
    Checked(rename(from.c_str(), to.c_str()), to);
}

void Rename(const std::string& from, const std::string& to) {
    Move(from, to);
    Sync(GetParentDirectory(to));
}

void RemoveFile(const std::string& path) {
    // On a read-only disk, even removing nothing would fail.
    if (KindOf(path) != Kind::Nothing) {
        Checked(unlink(path.c_str()), path);
    }
}

void RemoveFolder(const std::string& path) {
    constexpr int DESCRIPTORS = 8;
    if (KindOf(path) != Kind::Nothing) {
        Checked(nftw(path.c_str(), RemoveEntry, DESCRIPTORS, FTW_DEPTH | FTW_PHYS), path);
    }
}

void Sync(const std::string& path) {
    const Descriptor file(Checked(open(path.c_str(), O_RDONLY | O_CLOEXEC), path));
    Sync(file.Get(), path);
}
