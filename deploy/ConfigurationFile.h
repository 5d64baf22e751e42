#pragma once

#include <string>

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
    // Holds fast what is there now.
    void Begin();
    // The file becomes a copy of the one at this path, with the owner and mode of the one that is
    // there; where there is none, it is root's and everybody may read it.
    void Replace(const std::string& path);
    // The file becomes what was saved at this path, owner and mode included; where nothing was
    // saved, it goes. Nothing happens where it is that already.
    void Restore(const std::string& path);
    // The file is again what it was at the beginning, with nothing copied.
    void TakeBack();
    // It stays as it is now.
    void Keep();

private:
    bool hasBegun = false;
    bool wasThere = false;
};

// Removes what a run leaves that is killed during a change.
void RemoveUnfinishedFiles();
