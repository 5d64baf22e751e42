#include "SQLUtils.h"

#include "Products.h"
#include "Recorder.h"
#include "Scenarios.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Statements = std::vector<std::string>;

bool Execute(const std::string& sql, std::string& printed) {
    testing::internal::CaptureStdout();
    const bool succeeded = SQLUtils::ExecuteSQL(sql);
    printed = testing::internal::GetCapturedStdout();
    return succeeded;
}

TEST(ExecuteSQL, GoesOnFromEachStageAsItsResultSays) {
    for (const Scenario& scenario : SCENARIOS) {
        recorder = {};
        recorder.answers = {scenario.answers};
        std::string printed;
        EXPECT_EQ(Execute("%s%d%n", printed), scenario.succeeds) << scenario.printed;
        EXPECT_EQ(printed, scenario.printed);
        EXPECT_EQ(recorder.calls, scenario.calls);
        EXPECT_EQ(recorder.statements, Statements(scenario.answers.open == 0 ? 1 : 0, "%s%d%n"));
    }
}

TEST(ExecuteSQL, DoesNothingForEmptyText) {
    recorder = {};
    std::string printed;
    EXPECT_FALSE(Execute("", printed));
    EXPECT_EQ(printed, "");
    EXPECT_EQ(recorder.calls, "");
}

// What both operations hand to SQLite.
Statements Inserted(const ProductRecord& record, const std::string& appFolder) {
    recorder = {};
    testing::internal::CaptureStdout();
    SQLUtils::InsertProductInfo(record, appFolder);
    SQLUtils::InsertXManConfig(record, appFolder);
    testing::internal::GetCapturedStdout();
    return recorder.statements;
}

// The two statements of a product, as they are in its file, one per line.
Statements Expected(const std::string& name) {
    std::ifstream file(EXPECTED_FOLDER "/" + name + ".sql");
    Statements statements(2);
    std::getline(file, statements[0]);
    std::getline(file, statements[1]);
    EXPECT_TRUE(file.good()) << name;
    return statements;
}

TEST(Insert, RunsTheProductsTwoStatements) {
    for (const auto& product : PRODUCTS) {
        const std::string folder = std::string("/Applications/") + product.applicationName;
        EXPECT_EQ(Inserted(product.record, folder), Expected(product.file));
    }
}

TEST(Insert, TakesTheFolderFromTheArgumentAndThreeConstantsWhateverTheRecordSays) {
    ProductRecord record = INDESIGNCC2020MAC;
    record["AppPath"] = "elsewhere";
    record["Bit"] = "128";
    record["MinExManVersion"] = "9.9.9";
    EXPECT_EQ(Inserted(record, "/Applications/Adobe InDesign 2020"),
              Expected("adobe-indesign-2020"));
    record["LocaleInfo"] = "de_DE";
    record["SuiteID"] = "99";
    EXPECT_EQ(Inserted(record, "/Applications/Adobe InDesign 2020")[1],
              Expected("adobe-indesign-2020")[1]);
    EXPECT_NE(recorder.statements[0].find("2020', 'de_DE', '99');"), std::string::npos);
}

TEST(Insert, SplicesTextsInAsTheyStand) {
    // Each fragment of a record's value becomes a dollar sign when the statement runs.
    ProductRecord record = INCOPYCC2020MAC;
    record["PreExtensionFolder"] = "a' || CHAR(36) || 'b' || CHAR(36) || 'c";
    for (const std::string folder :
         {"", "it's", "$HOME", "a\"b", "'; DROP TABLE x; --", "%s\n\xFF"}) {
        SCOPED_TRACE(testing::PrintToString(folder));
        const Statements statements = Inserted(record, folder);
        EXPECT_NE(statements[0].find("', 'incopy-15.064', '" + folder + "', 'en_US', '7');"),
                  std::string::npos);
        EXPECT_NE(statements[1].find("', CHAR(36) || 'installfolder', '" + folder
                                     + "'),             ('187', CHAR(36) || 'pluginconfigfile'"),
                  std::string::npos);
        EXPECT_NE(statements[1].find("CHAR(36) || 'a' || CHAR(36) || 'b' || CHAR(36) || 'c'),"),
                  std::string::npos);
    }
}

} // namespace
