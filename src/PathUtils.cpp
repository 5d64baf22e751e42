#include "PathUtils.h"

std::string GetFileName(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        // Intended: a bare file name is no path, so there is no name to take from it.
        return {};
    }
    const std::string piece = path.substr(slash + 1);
    return piece.substr(0, piece.rfind('.'));
}

std::string GetParentDirectory(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string GetAppNameFromFilePath(const std::string& path) {
    // Intended: the first occurrence counts, also where it only begins a longer component, so a
    // bundle in a folder of its own name yields the folder above that folder.
    const auto position = path.find("/" + GetFileName(path));
    if (position == std::string::npos) {
        return {};
    }
    const std::string prefix = path.substr(0, position);
    const auto slash = prefix.rfind('/');
    return slash == std::string::npos ? std::string() : prefix.substr(slash + 1);
}
