#include "XManConfig.h"

#include "Recorder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

struct Row {
    const char* programPath;
    const char* command;
};

const Row ROWS[] = {
    {"/opt/tools/Tamsel",
     R"(cp "/opt/tools/Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {"./Tamsel",
     R"(cp "./Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {"Tamsel",
     R"(cp "/Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {"/Tamsel",
     R"(cp "/Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {"",
     R"(cp "/Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {"/opt/my tools/Tamsel",
     R"(cp "/opt/my tools/Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {R"(/a"b$c`d\e/Tamsel)",
     R"(cp "/a"b$c`d\e/Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {"../a/./b//Tamsel",
     R"(cp "../a/./b//Resources/XManConfigV2.xml" "/Library/Application Support/Adobe/Extension Manager CC/Configuration")"},
    {"/a%s\n\xFF/Tamsel",
     "cp \"/a%s\n\xFF/Resources/XManConfigV2.xml\" \"/Library/Application Support/Adobe/Extension "
     "Manager CC/Configuration\""},
};

TEST(CopyXManConfig, HandsTheShellOneCommandWithTheSourceBesideTheProgram) {
    for (const Row& row : ROWS) {
        recorder = {};
        CopyXManConfig(row.programPath);
        EXPECT_EQ(recorder.commands, std::vector<std::string>{row.command});
    }
}

TEST(CopyXManConfig, PrintsNothingAndCopiesAgainWhateverTheShellAnswers) {
    for (const int answer : {0, 256, -1, 127 << 8}) {
        recorder = {};
        recorder.shell = answer;
        testing::internal::CaptureStdout();
        CopyXManConfig("/opt/tools/Tamsel");
        CopyXManConfig("/opt/tools/Tamsel");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(recorder.commands.size(), 2U);
        EXPECT_EQ(recorder.commands.front(), recorder.commands.back());
    }
}

} // namespace
