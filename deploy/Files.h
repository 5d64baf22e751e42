#pragma once

#include <string>
#include <sys/stat.h>

// Files as a careful program handles them. No function here follows a link in the last component of
// a path; what fails throws std::system_error with the path in its message, unless stated
// otherwise. Paths are absolute.

// Returns the result of a system call, or throws if it is -1.
int Checked(int result, const std::string& path);

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

// The path with all links resolved, or "" if nothing is there.
std::string Resolved(const std::string& path);

// The whole content of a plain file.
std::string ReadFile(const std::string& path);

// Whether both are plain files with the same content, owner and mode, or there is nothing at either
// path.
bool AreSame(const std::string& one, const std::string& other);

// Makes a file that must not exist yet, readable by its owner alone, and syncs it to disk.
void WriteFile(const std::string& path, const std::string& content);

// Makes a copy, which must not exist yet, and syncs it to disk. Its owner and mode are those of the
// file like.
void CopyFile(const std::string& from, const std::string& to, const struct stat& like);

// The owner, mode and size of what is at the path.
struct stat StatusOf(const std::string& path);

// Gives a file or folder another name, atomically replacing what has that name.
void Move(const std::string& from, const std::string& to);

// The same, and syncs the folder of the new name to disk.
void Rename(const std::string& from, const std::string& to);

// Removes a file, if there is one.
void RemoveFile(const std::string& path);

// Removes a folder and everything in it, if there is one.
void RemoveFolder(const std::string& path);

// Syncs the contents of a file, or the names in a folder, to disk. A link is followed, so callers
// pass only what they have checked.
void Sync(const std::string& path);
