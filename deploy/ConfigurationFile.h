#pragma once

#include <string>
#include <sys/stat.h>

// XManConfigV2.xml in the Extension Manager's folder. It is whole at every moment: it changes by a
// rename, and what it was before stays at hand under another name until the change is kept.
// Functions throw std::system_error.

// Throws a Failure with Status::NoFile where something else is in its place, a link for example.
void CheckFile();

// Whether there is one.
bool HasFile();

// Whether it is the same, byte by byte, as the file at this path.
bool IsFileLike(const std::string& path);

class FileChange {
public:
    // The file becomes a copy of the one at this path, with the owner and mode of the one that is
    // there; where there is none, it is root's and everybody may read it.
    void Replace(const std::string& path);
    // The file becomes what was saved at this path, owner and mode included; where nothing was
    // saved, it goes. Nothing happens where it is that already.
    void Restore(const std::string& path);
    // It is again what it was before the change, with nothing copied. Does nothing where it was not
    // changed, or where the change is kept already.
    void TakeBack();
    void Keep();

private:
    void SetAside();
    void PutInPlace(const std::string& path, const struct stat& like);

    bool isChanged = false;
    bool wasThere = false;
};

// Removes what a run leaves that is killed during a change.
void RemoveUnfinishedFiles();
