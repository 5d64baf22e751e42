#include "ConfigurationFile.h"

#include "Files.h"
#include "Places.h"

#include <unistd.h>

namespace {

const std::string NEWFILE = CONFIGURATION + "/." + FILENAME + ".tamsel-new";
const std::string OLDFILE = CONFIGURATION + "/." + FILENAME + ".tamsel-old";

void PutInPlace(const std::string& path, const struct stat& like) {
    CopyFile(path, NEWFILE, like);
    Rename(NEWFILE, INSTALLEDFILE);
}

} // namespace

bool HasFile() {
    return KindOf(INSTALLEDFILE) == Kind::File;
}

bool IsFileLike(const std::string& path) {
    return HasFile() && KindOf(path) == Kind::File && ReadFile(INSTALLEDFILE) == ReadFile(path);
}

void FileChange::Begin() {
    RemoveUnfinishedFiles();
    wasThere = HasFile();
    if (wasThere) {
        // A second name, which takes no room and keeps all that the file has.
        Checked(link(INSTALLEDFILE.c_str(), OLDFILE.c_str()), OLDFILE);
    }
    hasBegun = true;
}

void FileChange::Replace(const std::string& path) {
    struct stat like {};
    like.st_uid = geteuid();
    like.st_gid = getegid();
    like.st_mode = 0644;
    PutInPlace(path, wasThere ? StatusOf(INSTALLEDFILE) : like);
}

void FileChange::Restore(const std::string& path) {
    if (AreSame(path, INSTALLEDFILE)) {
        return;
    }
    if (KindOf(path) == Kind::File) {
        PutInPlace(path, StatusOf(path));
    } else {
        RemoveFile(INSTALLEDFILE);
        Sync(CONFIGURATION);
    }
}

void FileChange::TakeBack() {
    if (hasBegun && wasThere
        && (!HasFile() || StatusOf(OLDFILE).st_ino != StatusOf(INSTALLEDFILE).st_ino)) {
        Rename(OLDFILE, INSTALLEDFILE);
    } else if (hasBegun && !wasThere) {
        RemoveFile(INSTALLEDFILE);
        Sync(CONFIGURATION);
    }
    Keep();
}

void FileChange::Keep() {
    hasBegun = false;
    RemoveUnfinishedFiles();
}

void RemoveUnfinishedFiles() {
    RemoveFile(NEWFILE);
    RemoveFile(OLDFILE);
}
