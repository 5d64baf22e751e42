// Whole runs of the program's main, linked in under another name. A test in Python starts them in
// the sandbox, where there is a database to be found.

#include "Recorder.h"
#include "Scenarios.h"
#include "Tables.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

int TamselMain(int argc, char* argv[]);

namespace {

// What the program is started with: its own name, then its arguments.
using Words = std::vector<std::string>;

// What a run prints. It ends with 0.
std::string RunMain(Words words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    testing::internal::CaptureStdout();
    EXPECT_EQ(TamselMain(static_cast<int>(words.size()), arguments.data()), 0);
    return testing::internal::GetCapturedStdout();
}

std::string Operation(const std::string& name, const Scenario& scenario) {
    return std::string(scenario.printed) + name
           + (scenario.succeeds ? " execution: succeeded\n\n" + name + " true\n\n"
                                : " execution: failed\n\n" + name + " false\n\n");
}

// It runs first.
TEST(ARun, FindsTheIndexEmptyAndNoPositionInIt) {
    EXPECT_EQ(productLine, ProductLine());
    EXPECT_EQ(prodIt, ProductLine::const_iterator());
}

TEST(ARun, ThatRegistersTriesBothOperationsWhateverTheFirstOneReturns) {
    for (const Scenario& first : SCENARIOS) {
        for (const Scenario& second : SCENARIOS) {
            SCOPED_TRACE(std::string(first.printed) + "; then " + second.printed);
            recorder = {};
            recorder.answers = {first.answers, second.answers};
            ASSERT_EQ(RunMain({"/opt/tools/Tamsel", "-r",
                               "/Applications/Adobe InDesign 2020/Adobe InDesign 2020.app"}),
                      "Three parameters\n\n-r command found\n\n"
                      "File name found: Adobe InDesign 2020\n\n"
                          + Operation("InsertProductInfo", first)
                          + Operation("InsertXManConfig", second)
                          + "\nThe application was successfully registrated\n\n");
            ASSERT_EQ(recorder.calls, std::string(first.calls) + " " + second.calls);
            ASSERT_EQ(recorder.commands.size(), 1U);
            ASSERT_EQ(prodIt, productLine.find("Adobe InDesign 2020"));
        }
    }
}

TEST(ARun, ForAnApplicationThatIsNotSupportedOnlyCopies) {
    for (const char* path : {"/Applications/Adobe InDesign 2021.app", "Adobe InDesign 2020.app"}) {
        SCOPED_TRACE(path);
        recorder = {};
        RunMain({"/opt/tools/Tamsel", "-r", path});
        EXPECT_EQ(recorder.calls, "");
        EXPECT_EQ(recorder.commands.size(), 1U);
        EXPECT_EQ(prodIt, productLine.end());
        EXPECT_EQ(productLine.size(), 8U);
    }
}

TEST(ARun, TakesAPathWithoutASeparatorAsTheFolder) {
    // It shows only if an application has no name, and every one in the catalogue has one.
    productLine[""] = INDESIGNCC2020MAC;
    recorder = {};
    RunMain({"/opt/tools/Tamsel", "-r", "no folder"});
    ASSERT_EQ(recorder.statements.size(), 2U);
    EXPECT_NE(recorder.statements[0].find("'no folder'"), std::string::npos);
    EXPECT_NE(recorder.statements[1].find("'no folder'"), std::string::npos);
    productLine.erase("");
}

TEST(ARun, WithoutEvenTheProgramsNameIsAnUnknownCommand) {
    EXPECT_EQ(RunMain({}),
              "\nNo command not found.\nPlease use the help page for usage hints (-h) \n\n");
}

TEST(ARun, OfAnotherFormCallsNeitherSQLiteNorTheShell) {
    for (const Words& words : std::vector<Words>{
             {},
             {"Tamsel"},
             {"Tamsel", "-h"},
             {"Tamsel", "-r"},
             {"Tamsel", "-h", "/Applications/Adobe InDesign 2020.app"},
             {"Tamsel", "-r", "/Applications/Adobe InDesign 2020.app", ""},
         }) {
        SCOPED_TRACE(testing::PrintToString(words));
        recorder = {};
        productLine.clear();
        prodIt = {};
        RunMain(words);
        EXPECT_EQ(recorder.calls, "");
        EXPECT_EQ(recorder.commands.size(), 0U);
        EXPECT_EQ(prodIt, ProductLine::const_iterator());
        EXPECT_EQ(productLine.size(), words.size() == 1 ? 0U : 8U);
    }
}

} // namespace
