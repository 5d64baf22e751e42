#pragma once

#include "PathUtils.h"

#include <string>

// What the path functions promise, said of their results alone: together these properties leave one
// possible answer for each path. Returns the first property that does not hold for a path, or null.
inline const char* BrokenProperty(const std::string& path) {
    const std::string folder = GetParentDirectory(path);
    const std::string name = GetFileName(path);
    const std::string above = GetAppNameFromFilePath(path);
    const auto startsWith = [](const std::string& text, const std::string& start) {
        return text.compare(0, start.size(), start) == 0;
    };
    const auto contains = [](const std::string& text, char byte) {
        return text.find(byte) != std::string::npos;
    };

    if (!contains(path, '/')) {
        return folder.empty() && name.empty() && above.empty() ? nullptr
                                                               : "no separator, no answer";
    }

    if (!startsWith(path, folder + "/")) {
        return "a separator follows the parent directory";
    }
    const std::string last = path.substr(folder.size() + 1);
    if (contains(last, '/')) {
        return "no separator follows the one behind the parent directory";
    }

    if (!startsWith(last, name)) {
        return "the last component begins with the file name";
    }
    const std::string extension = last.substr(name.size());
    if (extension.empty() ? contains(name, '.')
                          : extension.front() != '.' || contains(extension.substr(1), '.')) {
        return "the file name lacks the last extension and nothing else";
    }

    // The path up to the first component, apart from the very first, that begins with the file
    // name: none before it may do so.
    const std::string before = path.substr(0, path.find("/" + name));
    if (!contains(before, '/')) {
        return above.empty() ? nullptr : "no folder stands before the file name's first occurrence";
    }
    if (contains(above, '/') || before.size() <= above.size()
        || before.substr(before.size() - above.size() - 1) != "/" + above) {
        return "the folder stands before the file name's first occurrence";
    }
    return nullptr;
}
