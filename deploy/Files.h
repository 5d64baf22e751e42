#pragma once

#include <string>
#include <sys/stat.h>

// Files as a careful program handles them. No function here follows a link in the last component of
// a path; what fails throws std::system_error with the path in its message. Paths are absolute. The
// database and its side files must not be opened here while SQLite has them open: closing them
// again would drop SQLite's locks.

// Returns the result of a system call, or throws if it is -1.
int Checked(long result, const std::string& path);

// An open file, closed at the end of its scope.
class Descriptor {
public:
    explicit Descriptor(int number) : itsNumber(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();
    int Get() const { return itsNumber; }

private:
    int itsNumber;
};

enum class Kind : unsigned char { Nothing, File, Folder, Other };

// What is at the path; a link counts as Other, wherever it leads.
Kind KindOf(const std::string& path);

// The owner, mode and size of what is at the path.
struct stat StatusOf(const std::string& path);

// The path with all links resolved, or "" if nothing is there.
std::string Resolved(const std::string& path);

// Whether both are plain files with the same content.
bool HoldSame(const std::string& one, const std::string& other);

// Makes a file, or a copy of one, that must not exist yet, and syncs it to disk. The copy gets the
// owner and mode of the file like; otherwise, nobody else can read it.
void WriteFile(const std::string& path, const std::string& content);
void CopyFile(const std::string& from, const std::string& to, const struct stat& like);

// Gives a file the owner and mode of another, and syncs it to disk.
void MakeLike(const std::string& path, const struct stat& like);

// Gives a file or folder another name, atomically replacing what has that name, and syncs the
// folder of the new name to disk.
void Rename(const std::string& from, const std::string& to);

// Removes a file, or a folder and everything in it, if there is one.
void Remove(const std::string& path);

// Syncs the names in a folder to disk. The folder may be a link.
void SyncFolder(const std::string& path);
