#pragma once

#include <string>

// XManConfigV2.xml in the Extension Manager's folder. It is whole at every moment: it changes by a
// rename, and the previous file stays at hand under another name until the change is kept.
// Functions throw std::system_error.

// Whether there is one.
bool HasFile();

// Whether it is byte for byte the same as the file at this path.
bool IsFileLike(const std::string& path);

class FileChange {
public:
    // Keeps hold of what is there now.
    void Begin();
    // The file becomes a copy of the one at this path, with the owner and mode of the present one;
    // if there is none, it belongs to root and everybody may read it.
    void Replace(const std::string& path);
    // The file becomes what was saved at this path, owner and mode included; if nothing was saved,
    // it is removed. Does nothing if it is that already.
    void Restore(const std::string& path);
    // The file is again what it was at the beginning, without being copied.
    void TakeBack();
    // It stays as it is now.
    void Keep();

private:
    bool hasBegun = false;
    bool wasThere = false;
};

// Removes what a run leaves behind when it is killed during a change.
void RemoveUnfinishedFiles();
