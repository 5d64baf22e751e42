#include "Program.h"
#include "Recorder.h"
#include "Tables.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <vector>

namespace {

TEST(FailedAllocation, LeavesMainAsAnException) {
    std::vector<Words> forms = OTHER_FORMS;
    forms.push_back({"/opt/tools/Tamsel", "-r", "/Applications/Adobe InDesign 2020.app"});
    forms.push_back({"/opt/tools/Tamsel", "-r", "/Applications/An application of others.app"});
    long failures = 0;
    for (const Words& words : forms) {
        SCOPED_TRACE(testing::PrintToString(words));
        Outcome outcome{};
        long number = 0;
        do {
            recorder = {};
            productLine.clear();
            outcome = RunProgram(words, ++number);
            ASSERT_EQ(outcome.thrown, outcome.allocationFailed) << "allocation " << number;
        } while (outcome.thrown);
        failures += number - 1;
    }
    EXPECT_GT(failures, 1000);
    std::printf("figure: %ld allocations with new failed, in %zu forms\n", failures, forms.size());
}

} // namespace
