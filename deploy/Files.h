#pragma once

#include "Log.h"
#include "PathUtils.h"
#include "Tables.h"

#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

// Files as a careful program handles them: no link in the last component of a path is followed, and
// what fails throws std::system_error with the path in its message. The database and the files
// beside it must not be opened here while SQLite has them open: closing them drops SQLite's locks.

// Returns the result of a system call, or throws if it is -1.
int Checked(long result, const std::string& path);

// An open file, closed at the end of its scope. No program that is started inherits it.
struct File {
    File(const std::string& name, int how)
        : path(name),
          number(Checked(open(name.c_str(), how | O_NOFOLLOW | O_CLOEXEC, 0600), name)) {}
    File(const File&) = delete;
    ~File() { close(number); }
    const std::string path;
    const int number;
};

// The kind of what is at the path, such as S_IFREG, or NOTHING; then StatusOf throws.
inline constexpr mode_t NOTHING = 0;
mode_t KindOf(const std::string& path);
struct stat StatusOf(const std::string& path);
// The path with all links resolved, or "" if nothing is there.
std::string Resolved(const std::string& path);
// Whether both are plain files with the same content.
bool HoldSame(const std::string& one, const std::string& other);

// Makes a file that must not exist yet, and that nobody else can read, or a copy with this owner
// and mode, which MakeLike gives to a file that is there. All of them sync it to disk.
void WriteFile(const std::string& path, const std::string& content);
void CopyFile(const std::string& from, const std::string& to, const struct stat& like);
void MakeLike(const std::string& path, const struct stat& like);

// Renames a file or folder, atomically replacing what has that name, and syncs this to disk.
void Rename(const std::string& from, const std::string& to);
// Removes a file, or a folder and everything in it, if there is one.
void Remove(const std::string& path);
// Syncs the names in a folder to disk. The folder may be a link.
void SyncFolder(const std::string& path);

// What must hold before a run; otherwise these throw a Failure whose status says what does not.

// What is installed beside this program is complete. Returns the path of its XManConfigV2.xml.
std::string RequireInstallation();
// There is a plain file, which true means, or nothing.
bool RequirePlainFile(const std::string& path, Status another);
// As far as the permissions tell, a file or folder can be written.
void RequireWritable(const std::string& path, Status status, const std::string& what);
// As long as the file that this returns is open, other runs wait. Its folder must exist.
std::unique_ptr<File> LockRuns();

// The places of the Extension Manager, which follow from that of its database, and the own ones.
inline const std::string DATABASE = EXMANDBPATH;
inline const std::string DATABASEFOLDER = GetParentDirectory(DATABASE);
inline const std::string DATABASENAME = DATABASE.substr(DATABASEFOLDER.size() + 1);
inline const std::string CONFIGURATION = GetParentDirectory(DATABASEFOLDER);
inline const std::string FILENAME = "XManConfigV2.xml";
inline const std::string INSTALLEDFILE = CONFIGURATION + "/" + FILENAME;
inline const std::string OWNFOLDER = "/Library/Application Support/Tamsel";
inline const std::string LOCKFILE = OWNFOLDER + "/lock";
inline const std::string BACKUPS = OWNFOLDER + "/Backups";

// What is not finished: a backup, the next XManConfigV2.xml and the one that it replaces, a
// database that replaces a file. Whatever a killed run leaves of them, a later one removes.
inline const std::string INCOMPLETE = BACKUPS + "/.incomplete";
inline const std::string NEWFILE = CONFIGURATION + "/." + FILENAME + ".tamsel-new";
inline const std::string OLDFILE = CONFIGURATION + "/." + FILENAME + ".tamsel-old";
inline const std::string NEWDATABASE = DATABASEFOLDER + "/." + DATABASENAME + ".tamsel-new";
