#include "PathUtils.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace {

TEST(PathUtils, CutPathsAtTheirSeparators) {
    const struct {
        std::string path;
        std::string fileName;
        std::string parentDirectory;
        std::string appName;
    } rows[] = {
        {"/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app", "Adobe InDesign 2020",
         "/Applications/Adobe InDesign 2020", "Applications"},
        {"/Volumes/Apps/Adobe InCopy 2020.app", "Adobe InCopy 2020", "/Volumes/Apps", "Apps"},
        {"/Applications/Adobe InDesign 2020.app/", "", "/Applications/Adobe InDesign 2020.app", ""},
        {"/Adobe InDesign 2020.app", "Adobe InDesign 2020", "", ""},
        // A name without a separator is a perfectly good name, but not a path.
        {"Adobe InDesign 2020.app", "", "", ""},
        {"./Tamsel", "Tamsel", ".", ""},
        // Only the last extension goes, and only that of the last component.
        {"/a.b/x.tar.gz", "x.tar", "/a.b", "a.b"},
        {"/a/.hidden", "", "/a", ""},
        // The search for the folder minds the case and also finds the beginning of a component.
        {"/x/NAME/y/Name.app", "Name", "/x/NAME/y", "y"},
        {"/x/Names/y/Name.app", "Name", "/x/Names/y", "x"},
        // Nothing is normalised, and bytes are bytes.
        {"/a/..//b", "b", "/a/../", ""},
        {"/\xC3\xA4/\xFF\n.app", "\xFF\n", "/\xC3\xA4", "\xC3\xA4"},
        {std::string("/a\0/b\0.c", 8), std::string("b\0", 2), std::string("/a\0", 3),
         std::string("a\0", 2)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.path));
        EXPECT_EQ(GetFileName(row.path), row.fileName);
        EXPECT_EQ(GetParentDirectory(row.path), row.parentDirectory);
        EXPECT_EQ(GetAppNameFromFilePath(row.path), row.appName);
    }
}

// What the functions promise, said of their results alone: together these properties leave one
// possible answer for each path. Returns the first property that does not hold for a path, or null.
const char* BrokenProperty(const std::string& path) {
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

TEST(PathUtils, KeepTheirPromisesForEveryShortPath) {
    std::size_t checked = 0;
    std::vector<std::string> paths = {""};
    while (paths.front().size() <= 8) {
        std::vector<std::string> longer;
        for (const std::string& path : paths) {
            const char* broken = BrokenProperty(path);
            ASSERT_EQ(broken, nullptr) << path << ": " << broken;
            ++checked;
            for (const char byte : {'/', '.', 'a', '\xE4'}) {
                longer.push_back(path + byte);
            }
        }
        paths = std::move(longer);
    }
    EXPECT_EQ(checked, 87381U); // 4^0 + 4^1 + ... + 4^8
}

} // namespace
