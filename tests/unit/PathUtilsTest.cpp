#include "PathUtils.h"

#include <gtest/gtest.h>
#include <string>

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

} // namespace
