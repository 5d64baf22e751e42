#pragma once

#include <string>
#include <sys/stat.h>

// Files as a careful program handles them. No function here follows a link in the last component
// of a path; what fails throws std::system_error with the path in its words, unless it says
// otherwise. Paths are absolute.

// Returns the result of a system call, or throws where it is -1.
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

// What is at the path; a link is something other, wherever it leads.
Kind KindOf(const std::string& path);

// The path without links, or "" where nothing is at it.
std::string Resolved(const std::string& path);

// The whole of a plain file.
std::string ReadFile(const std::string& path);

// Whether both are plain files with the same content, owner and mode, or nothing is at both paths.
bool AreSame(const std::string& one, const std::string& other);

// Makes a file that must not be there yet, readable by its owner alone, and syncs it to disk.
void WriteFile(const std::string& path, const std::string& content);

// Makes a copy, which must not be there yet, and syncs it to disk. Its owner and mode are those of
// the file like.
void CopyFile(const std::string& from, const std::string& to, const struct stat& like);

// The owner, mode and size of a plain file.
struct stat StatusOf(const std::string& path);

// Gives a file or folder another name, atomically replacing what has that name.
void Move(const std::string& from, const std::string& to);

// The same, and syncs the folder of the new name to disk.
void Rename(const std::string& from, const std::string& to);

// Removes a file, where there is one.
void RemoveFile(const std::string& path);

// Removes a folder with all that is in it, where there is one.
void RemoveFolder(const std::string& path);

// Syncs the contents of a file, or the names in a folder, to disk. A link is followed: only what
// has been looked at before is given to it.
void Sync(const std::string& path);
