// What happens to the tables between the program's start and the end of a run.

#include "Program.h"
#include "Recorder.h"
#include "Tables.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

std::vector<Table> Constants() {
    return {INCOPYCC2019WIN64,   INCOPYCC2019MAC,   INDESIGNCC2019WIN64,
            INDESIGNCC2019MAC,   INCOPYCC2020WIN64, INCOPYCC2020MAC,
            INDESIGNCC2020WIN64, INDESIGNCC2020MAC, STRINGTABLE};
}

// The tables as main finds them, and the index once it is filled.
struct Start : testing::Environment {
    void SetUp() override {
        index = productLine;
        position = prodIt;
        constants = Constants();
        SetupAdobeApplicationList();
        filled = productLine;
    }

    ProductLine index;
    ProductLine::const_iterator position;
    std::vector<Table> constants;
    ProductLine filled;
};

// GoogleTest owns it.
const auto* const start = static_cast<Start*>(testing::AddGlobalTestEnvironment(new Start));

Words Registration(const std::string& name) {
    return {"Tamsel", "-r", "/Applications/" + name + ".app"};
}

// A run as if from the program's start.
int RunAnew(const Words& words) {
    recorder = {};
    productLine.clear();
    prodIt = {};
    return RunProgram(words).status;
}

TEST(Start, FindsTheIndexEmptyAndNoPositionInIt) {
    EXPECT_EQ(start->index, ProductLine());
    EXPECT_EQ(start->position, ProductLine::const_iterator());
}

TEST(RegistrationRun, KeepsThePositionOfItsProductAndChangesNoTable) {
    for (const auto& product : start->filled) {
        SCOPED_TRACE(product.first);
        RunAnew(Registration(product.first));
        EXPECT_EQ(prodIt, productLine.find(product.first));
        EXPECT_EQ(productLine, start->filled);
        EXPECT_EQ(Constants(), start->constants);
    }
}

TEST(RegistrationRun, AddsNoApplicationThatIsNotSupported) {
    for (const char* name : {"Adobe InDesign 2021", ""}) {
        SCOPED_TRACE(name);
        RunAnew(Registration(name));
        EXPECT_EQ(prodIt, productLine.end());
        EXPECT_EQ(productLine, start->filled);
        EXPECT_EQ(Constants(), start->constants);
    }
}

TEST(EveryOtherForm, FillsTheIndexUnlessThereIsNoArgument) {
    for (const Words& words : OTHER_FORMS) {
        SCOPED_TRACE(testing::PrintToString(words));
        RunAnew(words);
        EXPECT_EQ(prodIt, ProductLine::const_iterator());
        EXPECT_EQ(productLine, words.size() == 1 ? ProductLine() : start->filled);
        EXPECT_EQ(Constants(), start->constants);
    }
}

// Started on its own, where there is no database.
TEST(WithoutDatabase, LeavesTheIndexEmptyAndAsksForNothing) {
    std::vector<Words> forms = OTHER_FORMS;
    forms.push_back(Registration("Adobe InDesign 2020"));
    for (const Words& words : forms) {
        SCOPED_TRACE(testing::PrintToString(words));
        EXPECT_EQ(RunAnew(words), 1);
        EXPECT_EQ(productLine, ProductLine());
        EXPECT_EQ(prodIt, ProductLine::const_iterator());
        EXPECT_EQ(recorder.calls, std::vector<std::string>());
        EXPECT_EQ(recorder.commands, std::vector<std::string>());
    }
}

} // namespace
