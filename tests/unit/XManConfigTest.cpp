#include "XManConfig.h"

#include "Recorder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

// How each command ends.
const std::string TO =
    R"( "/Library/Application Support/Adobe/Extension Manager CC/Configuration")";

struct Row {
    const char* programPath;
    std::string command;
};

const Row ROWS[] = {
    {"/opt/tools/Tamsel", R"(cp "/opt/tools/Resources/XManConfigV2.xml")" + TO},
    {"./Tamsel", R"(cp "./Resources/XManConfigV2.xml")" + TO},
    {"Tamsel", R"(cp "/Resources/XManConfigV2.xml")" + TO},
    {"/Tamsel", R"(cp "/Resources/XManConfigV2.xml")" + TO},
    {"", R"(cp "/Resources/XManConfigV2.xml")" + TO},
    {"/opt/my tools/Tamsel", R"(cp "/opt/my tools/Resources/XManConfigV2.xml")" + TO},
    {R"(/a"b$c`d\e/Tamsel)", R"(cp "/a"b$c`d\e/Resources/XManConfigV2.xml")" + TO},
    {"../a/./b//Tamsel", R"(cp "../a/./b//Resources/XManConfigV2.xml")" + TO},
    {"/a%s\n\xFF/Tamsel", "cp \"/a%s\n\xFF/Resources/XManConfigV2.xml\"" + TO},
};

TEST(CopyXManConfig, HandsTheShellOneCommandWithTheSourceBesideTheProgram) {
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.programPath);
        recorder = {};
        CopyXManConfig(row.programPath);
        EXPECT_EQ(recorder.commands, std::vector<std::string>{row.command});
    }
}

TEST(CopyXManConfig, PrintsNothingAndCopiesAgainWhateverTheShellAnswers) {
    for (const int answer : {0, 256, -1, 127 << 8}) {
        SCOPED_TRACE(answer);
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
