#include "PathUtils.h"

#include <gtest/gtest.h>
#include <string>

namespace {

struct Row {
    std::string path;
    std::string fileName;
    std::string parentDirectory;
    std::string appName;
};

const Row ROWS[] = {
    {"/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app", "Adobe InDesign 2020",
     "/Applications/Adobe InDesign 2020", "Applications"},
    {"/Applications/Adobe InCopy CC 2019/Adobe InCopy CC 2019.app", "Adobe InCopy CC 2019",
     "/Applications/Adobe InCopy CC 2019", "Applications"},
    {"/Volumes/Apps/Adobe InCopy 2020.app", "Adobe InCopy 2020", "/Volumes/Apps", "Apps"},
    {"/Volumes/Adobe InDesign 2020 Backup/Adobe InDesign 2020.app", "Adobe InDesign 2020",
     "/Volumes/Adobe InDesign 2020 Backup", "Volumes"},
    {"/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app/", "",
     "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app", ""},
    {"/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app/Contents/Info.plist", "Info",
     "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app/Contents", "Contents"},
    {"/Adobe InDesign 2020.app", "Adobe InDesign 2020", "", ""},
    {"Adobe InDesign 2020.app", "", "", ""},
    {"/opt/tools/Tamsel", "Tamsel", "/opt/tools", "tools"},
    {"./Tamsel", "Tamsel", ".", ""},
    {"Tamsel", "", "", ""},
    {"/a/b/c", "c", "/a/b", "b"},
    {"/a/b.c/d", "d", "/a/b.c", "b.c"},
    {"/a/x.tar.gz", "x.tar", "/a", "a"},
    {"/a/.hidden", "", "/a", ""},
    {"/a/b.", "b", "/a", "a"},
    {"a/b", "b", "a", ""},
    {"/a//Name.app", "Name", "/a/", ""},
    {"/", "", "", ""},
    {"", "", "", ""},

    // A name without a separator is a perfectly good name, but not a path.
    {"x.tar.gz", "", "", ""},
    {".", "", "", ""},
    // Nothing is normalised.
    {"//", "", "/", ""},
    {"/a/", "", "/a", ""},
    {"/a//", "", "/a/", ""},
    {"/a/.", "", "/a", ""},
    {"/a/..", ".", "/a", "a"},
    {"~/b.app", "b", "~", ""},
    {"../b.app", "b", "..", ""},
    // The extension mark counts only in the last component, and any extension will do.
    {"/a.b/", "", "/a.b", ""},
    {"/a/Name.APP", "Name", "/a", "a"},
    {"/a/Name.", "Name", "/a", "a"},
    {"/a/..b", ".", "/a", "a"},
    // The search for the application's folder is case-sensitive.
    {"/x/NAME/y/Name.app", "Name", "/x/NAME/y", "y"},
    {"/x/Name/y/Name.app", "Name", "/x/Name/y", "x"},
    // It also matches the name at the beginning of a longer component.
    {"/x/Names/y/Name.app", "Name", "/x/Names/y", "x"},
    {"/X.app", "X", "", ""},
    {"//X.app", "X", "/", ""},
    {"a//X.app", "X", "a/", ""},
    {"/b/a//X.app", "X", "/b/a/", ""},
    {"/a/b/", "", "/a/b", ""},
    // Bytes are bytes.
    {"/\xC3\xA4/\xFF\xFE.app", "\xFF\xFE", "/\xC3\xA4", "\xC3\xA4"},
    {"/a\n/b\n.c", "b\n", "/a\n", "a\n"},
    {std::string("/a\0/b\0.c", 8), std::string("b\0", 2), std::string("/a\0", 3),
     std::string("a\0", 2)},
};

TEST(GetFileName, TakesTheLastComponentWithoutItsLastExtension) {
    for (const Row& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row.path));
        EXPECT_EQ(GetFileName(row.path), row.fileName);
    }
}

TEST(GetParentDirectory, TakesEverythingBeforeTheLastSeparator) {
    for (const Row& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row.path));
        EXPECT_EQ(GetParentDirectory(row.path), row.parentDirectory);
    }
}

TEST(GetAppNameFromFilePath, TakesTheFolderBeforeTheFirstOccurrenceOfTheName) {
    for (const Row& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row.path));
        EXPECT_EQ(GetAppNameFromFilePath(row.path), row.appName);
    }
}

} // namespace
