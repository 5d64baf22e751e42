#pragma once

#include <string>

// Cuts paths at their "/" separators. A path is a byte string: nothing is normalised, no encoding
// is interpreted, and the file system is never asked. No function prints; each returns the empty
// string when it finds nothing.

// The last component of path without its last extension: "/a/x.tar.gz" gives "x.tar".
// Empty when path holds no "/", when it ends in one, and when the component's only "." comes first.
std::string GetFileName(const std::string& path);

// Everything before the last "/" of path. Empty when path holds no "/", and for a path directly
// under the root: "/Tamsel" gives "", not "/".
std::string GetParentDirectory(const std::string& path);

// The name of the folder that stands before the first occurrence of "/" + GetFileName(path) in
// path: "/Volumes/Apps/Adobe InCopy 2020.app" gives "Apps". Empty when there is none.
// It completes the set; a run of the program does not call it.
std::string GetAppNameFromFilePath(const std::string& path);
