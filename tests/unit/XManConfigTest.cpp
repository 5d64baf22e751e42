#include "XManConfig.h"

#include "Recorder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

TEST(CopyXManConfig, HandsTheShellOneCommandWithTheSourceBesideTheProgram) {
    const struct {
        const char* programPath;
        std::string source;
    } rows[] = {
        {"/opt/tools/Tamsel", "/opt/tools/Resources/XManConfigV2.xml"},
        {"./Tamsel", "./Resources/XManConfigV2.xml"},
        {"../a/./b//Tamsel", "../a/./b//Resources/XManConfigV2.xml"},
        // Without a folder of its own, the source is at the root.
        {"Tamsel", "/Resources/XManConfigV2.xml"},
        {"/Tamsel", "/Resources/XManConfigV2.xml"},
        {"", "/Resources/XManConfigV2.xml"},
        // Nothing is escaped.
        {R"(/a "b$c`d\e'/Tamsel)", R"(/a "b$c`d\e'/Resources/XManConfigV2.xml)"},
        {"/a%s\n\xFF/Tamsel", "/a%s\n\xFF/Resources/XManConfigV2.xml"},
    };
    for (const auto& row : rows) {
        recorder = {};
        CopyXManConfig(row.programPath);
        EXPECT_EQ(recorder.commands,
                  std::vector{"cp \"" + row.source
                              + R"(" "/Library/Application Support/Adobe/Extension Manager CC)"
                              + R"(/Configuration")"});
    }
}

TEST(CopyXManConfig, PrintsNothingAndTriesOnceWhateverTheShellAnswers) {
    for (const int answer : {0, 256, -1, 127 << 8}) {
        SCOPED_TRACE(answer);
        recorder = {};
        recorder.shell = answer;
        testing::internal::CaptureStdout();
        CopyXManConfig("/opt/tools/Tamsel");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(recorder.commands.size(), 1U);
    }
}

} // namespace
