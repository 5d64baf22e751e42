#include "Program.h"
#include "Recorder.h"
#include "Scenarios.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

// What SQLite answers to one statement after another.
Recorder Answers(const Scenario& first, const Scenario& second) {
    const auto join = [&](Recorder::Answers Recorder::*answers, bool firstAsks) {
        Recorder::Answers joined = second.answers.*answers;
        if (firstAsks) {
            const Recorder::Answers& before = first.answers.*answers;
            joined.insert(joined.begin(), before.begin(), before.end());
        }
        return joined;
    };
    const bool firstCompiles = first.opens && first.answers.prepare.front() == SQLITE_OK;
    Recorder answers;
    answers.open = join(&Recorder::open, true);
    answers.prepare = join(&Recorder::prepare, first.opens);
    answers.step = join(&Recorder::step, firstCompiles);
    answers.finalize = join(&Recorder::finalize, first.opens);
    answers.close = join(&Recorder::close, true);
    return answers;
}

std::string Operation(const std::string& name, const Scenario& scenario) {
    return scenario.printed + name
           + (scenario.succeeds ? " execution: succeeded" : " execution: failed") + "\n\n" + name
           + (scenario.succeeds ? " true" : " false") + "\n\n";
}

TEST(RegistrationRun, TriesBothOperationsWhateverTheFirstOneReturns) {
    const Words words = {"/opt/tools/Tamsel", "-r",
                         "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app"};
    for (const Scenario& first : Scenarios()) {
        for (const Scenario& second : Scenarios()) {
            SCOPED_TRACE(first.name + "; then " + second.name);
            recorder = Answers(first, second);
            const Outcome outcome = RunProgram(words);
            ASSERT_EQ(outcome.status, 0);
            ASSERT_EQ(outcome.printed, "Three parameters\n\n-r command found\n\n"
                                       "File name found: Adobe InDesign 2020\n\n"
                                           + Operation("InsertProductInfo", first)
                                           + Operation("InsertXManConfig", second)
                                           + "\nThe application was successfully registrated\n\n");
            Calls calls = first.calls;
            calls.insert(calls.end(), second.calls.begin(), second.calls.end());
            ASSERT_EQ(recorder.calls, calls);
            ASSERT_EQ(recorder.commands,
                      Calls{R"(cp "/opt/tools/Resources/XManConfigV2.xml" "/Library/Application )"
                            R"(Support/Adobe/Extension Manager CC/Configuration")"});
        }
    }
    std::printf("figure: %zu registrations with SQLite replaced\n",
                Scenarios().size() * Scenarios().size());
}

TEST(RegistrationRun, OnlyCopiesForAnApplicationThatIsNotSupported) {
    for (const char* path : {"/Applications/Adobe InDesign 2021.app", "Adobe InDesign 2020.app"}) {
        SCOPED_TRACE(path);
        recorder = {};
        EXPECT_EQ(RunProgram({"/opt/tools/Tamsel", "-r", path}).status, 0);
        EXPECT_EQ(recorder.calls, Calls{});
        EXPECT_EQ(recorder.commands.size(), 1U);
    }
}

TEST(EveryOtherForm, CallsNeitherSQLiteNorTheShell) {
    for (const Words& words : OTHER_FORMS) {
        SCOPED_TRACE(testing::PrintToString(words));
        recorder = {};
        EXPECT_EQ(RunProgram(words).status, 0);
        EXPECT_EQ(recorder.calls, Calls{});
        EXPECT_EQ(recorder.commands, Calls{});
    }
}

} // namespace
