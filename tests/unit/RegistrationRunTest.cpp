#include "Courses.h"
#include "Recorder.h"
#include "Tables.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

// The program's main under another name.
int TamselMain(int argc, char* argv[]);

namespace {

using Lines = std::vector<std::string>;

// What SQLite answers to one statement after the other.
Recorder Answers(const Course& first, const Course& second) {
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

std::string Operation(const std::string& name, const Course& course) {
    return course.printed + name
           + (course.succeeds ? " execution: succeeded" : " execution: failed") + "\n\n" + name
           + (course.succeeds ? " true" : " false") + "\n\n";
}

struct Outcome {
    int status;
    std::string printed;
};

// Runs the program with these arguments, of which its name is the first.
Outcome RunProgram(Lines words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    testing::internal::CaptureStdout();
    const int status = TamselMain(static_cast<int>(words.size()), arguments.data());
    return {status, testing::internal::GetCapturedStdout()};
}

TEST(RegistrationRun, TriesBothOperationsWhateverTheFirstOneReturns) {
    const Lines words = {"/opt/tools/Tamsel", "-r",
                         "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app"};
    for (const Course& first : Courses()) {
        for (const Course& second : Courses()) {
            recorder = Answers(first, second);
            const Outcome outcome = RunProgram(words);
            const std::string name = first.name + "; then " + second.name;
            ASSERT_EQ(outcome.status, 0) << name;
            ASSERT_EQ(outcome.printed, "Three parameters\n\n-r command found\n\n"
                                       "File name found: Adobe InDesign 2020\n\n"
                                           + Operation("InsertProductInfo", first)
                                           + Operation("InsertXManConfig", second)
                                           + "\nThe application was successfully registrated\n\n")
                << name;
            Lines calls = first.calls;
            calls.insert(calls.end(), second.calls.begin(), second.calls.end());
            ASSERT_EQ(recorder.calls, calls) << name;
            ASSERT_EQ(recorder.commands,
                      Lines{R"(cp "/opt/tools/Resources/XManConfigV2.xml" "/Library/Application )"
                            R"(Support/Adobe/Extension Manager CC/Configuration")"})
                << name;
        }
    }
    std::printf("figure: %zu registrations with SQLite replaced\n",
                Courses().size() * Courses().size());
}

TEST(RegistrationRun, KeepsThePositionOfItsProduct) {
    recorder = {};
    RunProgram({"Tamsel", "-r", "/Applications/Adobe InCopy 2020.app"});
    EXPECT_EQ(prodIt, productLine.find("Adobe InCopy 2020"));
}

TEST(RegistrationRun, OnlyCopiesForAnApplicationThatIsNotSupported) {
    for (const char* path : {"/Applications/Adobe InDesign 2021.app", "Adobe InDesign 2020.app"}) {
        recorder = {};
        EXPECT_EQ(RunProgram({"/opt/tools/Tamsel", "-r", path}).status, 0);
        EXPECT_EQ(prodIt, productLine.end()) << path;
        EXPECT_EQ(recorder.calls, Lines{}) << path;
        EXPECT_EQ(recorder.commands.size(), 1U) << path;
    }
}

const std::string PATH = "/Applications/Adobe InDesign 2020.app";

// The program's name and its arguments, for every form but a registration.
const std::vector<Lines> OTHER_FORMS = {
    {},
    {"Tamsel"},
    {"Tamsel", "-h"},
    {"Tamsel", "-x"},
    {"Tamsel", "-r"},
    {"Tamsel", "-h", PATH},
    {"Tamsel", PATH, "-r"},
    {"Tamsel", "-r", PATH, PATH},
};

TEST(EveryOtherForm, CallsNeitherSQLiteNorTheShell) {
    for (const Lines& words : OTHER_FORMS) {
        recorder = {};
        EXPECT_EQ(RunProgram(words).status, 0);
        EXPECT_EQ(recorder.calls, Lines{}) << words.size();
        EXPECT_EQ(recorder.commands, Lines{}) << words.size();
    }
}

TEST(EveryForm, BuildsTheIndexUnlessThereIsNoArgument) {
    std::vector<Lines> forms = OTHER_FORMS;
    forms.push_back({"Tamsel", "-r", PATH});
    for (const Lines& words : forms) {
        recorder = {};
        productLine.clear();
        RunProgram(words);
        EXPECT_EQ(productLine.size(), words == Lines{"Tamsel"} ? 0U : 8U) << words.size();
    }
}

} // namespace
