#include "SQLUtils.h"

#include "Recorder.h"
#include "Scenarios.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <string>
#include <type_traits>
#include <vector>

namespace {

static_assert(std::is_same_v<decltype(SQLUtils::ExecuteSQL), bool(std::string)>);
static_assert(
    std::is_same_v<decltype(SQLUtils::InsertProductInfo), bool(ProductRecord, std::string)>);
static_assert(
    std::is_same_v<decltype(SQLUtils::InsertXManConfig), bool(ProductRecord, std::string)>);

using Calls = std::vector<std::string>;

// What an operation printed, and what it returned.
struct Outcome {
    std::string printed;
    bool succeeded;
};

template <typename Operation>
Outcome Capture(Operation operation) {
    testing::internal::CaptureStdout();
    const bool succeeded = operation();
    return {testing::internal::GetCapturedStdout(), succeeded};
}

Outcome Execute(const std::string& sql) {
    return Capture([&] { return SQLUtils::ExecuteSQL(sql); });
}

TEST(ExecuteSQL, GoesOnFromEachStageAsItsResultSays) {
    for (const Scenario& scenario : Scenarios()) {
        SCOPED_TRACE(scenario.name);
        recorder = scenario.answers;
        const Outcome outcome = Execute("the statement");
        EXPECT_EQ(outcome.succeeded, scenario.succeeds);
        EXPECT_EQ(outcome.printed, scenario.printed);
        EXPECT_EQ(recorder.calls, scenario.calls);
        EXPECT_EQ(recorder.statements, Calls(scenario.opens ? 1 : 0, "the statement"));
    }
    std::printf("figure: %zu scenarios of a statement\n", Scenarios().size());
}

TEST(ExecuteSQL, DoesNothingForEmptyText) {
    recorder = {};
    const Outcome outcome = Execute("");
    EXPECT_FALSE(outcome.succeeded);
    EXPECT_EQ(outcome.printed, "");
    EXPECT_EQ(recorder.calls, Calls{});
}

TEST(ExecuteSQL, PrintsTheMessageAsItStands) {
    // A format directive in the message must not reach printf as a format.
    recorder = {};
    recorder.message = "%s%d%n";
    recorder.prepare = {SQLITE_ERROR};
    EXPECT_EQ(Execute("%s%d%n").printed, "ERROR: while compiling sql: %s%d%n\n\n"
                                         "Finalized statemant: 0\n\n"
                                         "Closed database: 0\n\n");
    recorder.open = {SQLITE_CANTOPEN};
    EXPECT_EQ(Execute("%s%d%n").printed, "ERROR: can't open database: %s%d%n\n\n"
                                         "Closed database: 0\n\n");
    EXPECT_EQ(recorder.statements, Calls{"%s%d%n"});
}

// The two statements of one product, as they are in its file, one per line.
struct Statements {
    std::string productInfo;
    std::string xManConfig;
};

Statements Expected(const std::string& record) {
    std::ifstream file(EXPECTED_FOLDER "/" + record + ".sql");
    Statements statements;
    std::getline(file, statements.productInfo);
    std::getline(file, statements.xManConfig);
    EXPECT_TRUE(file.good()) << record;
    return statements;
}

struct Product {
    const char* name;
    const ProductRecord& record;
    const char* appFolder;
};

const Product PRODUCTS[] = {
    {"INCOPYCC2019WIN64", INCOPYCC2019WIN64, "/Applications/Adobe InCopy CC 2019"},
    {"INCOPYCC2019MAC", INCOPYCC2019MAC, "/Applications/Adobe InCopy CC 2019"},
    {"INDESIGNCC2019WIN64", INDESIGNCC2019WIN64, "/Applications/Adobe InDesign CC 2019"},
    {"INDESIGNCC2019MAC", INDESIGNCC2019MAC, "/Applications/Adobe InDesign CC 2019"},
    {"INCOPYCC2020WIN64", INCOPYCC2020WIN64, "/Applications/Adobe InCopy 2020"},
    {"INCOPYCC2020MAC", INCOPYCC2020MAC, "/Applications/Adobe InCopy 2020"},
    {"INDESIGNCC2020WIN64", INDESIGNCC2020WIN64, "/Applications/Adobe InDesign 2020"},
    {"INDESIGNCC2020MAC", INDESIGNCC2020MAC, "/Applications/Adobe InDesign 2020"},
};

TEST(InsertProductInfo, RunsOneStatementWithTheProductsNineValues) {
    for (const Product& product : PRODUCTS) {
        SCOPED_TRACE(product.name);
        recorder = {};
        Capture([&] { return SQLUtils::InsertProductInfo(product.record, product.appFolder); });
        EXPECT_EQ(recorder.statements, Calls{Expected(product.name).productInfo});
    }
}

TEST(InsertXManConfig, RunsOneStatementWithTheProductsFourteenRows) {
    for (const Product& product : PRODUCTS) {
        SCOPED_TRACE(product.name);
        recorder = {};
        Capture([&] { return SQLUtils::InsertXManConfig(product.record, product.appFolder); });
        EXPECT_EQ(recorder.statements, Calls{Expected(product.name).xManConfig});
    }
}

TEST(InsertXManConfig, WritesNoDollarSignAndFourteenRunsOfThirteenBlanks) {
    for (const Product& product : PRODUCTS) {
        SCOPED_TRACE(product.name);
        recorder = {};
        Capture([&] { return SQLUtils::InsertXManConfig(product.record, product.appFolder); });
        const std::string sql = recorder.statements.at(0);
        EXPECT_EQ(sql.find('$'), std::string::npos);
        EXPECT_EQ(sql.find('\n'), std::string::npos);
        int runs = 0;
        for (auto begin = sql.find("  "); begin != std::string::npos; ++runs) {
            const auto end = sql.find_first_not_of(' ', begin);
            EXPECT_EQ(end - begin, 13U);
            begin = sql.find("  ", end);
        }
        EXPECT_EQ(runs, 14);
    }
}

TEST(InsertXManConfig, WritesConstantsForBitLocaleAndMinimumVersion) {
    ProductRecord record = INDESIGNCC2020MAC;
    record["Bit"] = "128";
    record["LocaleInfo"] = "de_DE";
    record["MinExManVersion"] = "9.9.9";
    record["AppPath"] = "elsewhere";
    record["SuiteID"] = "99";
    recorder = {};
    Capture(
        [&] { return SQLUtils::InsertXManConfig(record, "/Applications/Adobe InDesign 2020"); });
    EXPECT_EQ(recorder.statements, Calls{Expected("INDESIGNCC2020MAC").xManConfig});
}

TEST(InsertProductInfo, TakesTheFolderFromTheArgumentAndNeverFromTheRecord) {
    ProductRecord record = INDESIGNCC2020MAC;
    record["AppPath"] = "elsewhere";
    recorder = {};
    Capture(
        [&] { return SQLUtils::InsertProductInfo(record, "/Applications/Adobe InDesign 2020"); });
    EXPECT_EQ(recorder.statements, Calls{Expected("INDESIGNCC2020MAC").productInfo});
}

TEST(InsertXManConfig, SplicesARecordsValuesInAsTheyStand) {
    // Each fragment becomes a dollar sign when the statement runs.
    ProductRecord record = INCOPYCC2020MAC;
    record["PreExtensionFolder"] = "a' || CHAR(36) || 'b' || CHAR(36) || 'c";
    recorder = {};
    Capture([&] { return SQLUtils::InsertXManConfig(record, "/a"); });
    EXPECT_NE(
        recorder.statements.at(0).find("CHAR(36) || 'a' || CHAR(36) || 'b' || CHAR(36) || 'c'),"),
        std::string::npos);
}

TEST(Insert, SplicesTheFolderInAsItStands) {
    for (const std::string folder :
         {"", "it's", "$HOME", "a\"b", "'; DROP TABLE x; --", "%s\n\xFF"}) {
        SCOPED_TRACE(testing::PrintToString(folder));
        recorder = {};
        Capture([&] { return SQLUtils::InsertProductInfo(INCOPYCC2020MAC, folder); });
        Capture([&] { return SQLUtils::InsertXManConfig(INCOPYCC2020MAC, folder); });
        const auto& statements = recorder.statements;
        ASSERT_EQ(statements.size(), 2U);
        EXPECT_NE(statements[0].find("', 'incopy-15.064', '" + folder + "', 'en_US', '7');"),
                  std::string::npos);
        EXPECT_NE(statements[1].find("', CHAR(36) || 'installfolder', '" + folder
                                     + "'),             ('187', CHAR(36) || 'pluginconfigfile'"),
                  std::string::npos);
    }
}

TEST(Insert, PrintsItsVerdictAfterTheLinesOfTheStatement) {
    for (const Scenario& scenario : Scenarios()) {
        SCOPED_TRACE(scenario.name);
        const std::string verdict = scenario.succeeds ? "succeeded\n\n" : "failed\n\n";
        recorder = scenario.answers;
        Outcome outcome =
            Capture([] { return SQLUtils::InsertProductInfo(INCOPYCC2020MAC, "/a"); });
        EXPECT_EQ(outcome.succeeded, scenario.succeeds);
        EXPECT_EQ(outcome.printed, scenario.printed + "InsertProductInfo execution: " + verdict);
        EXPECT_EQ(recorder.calls, scenario.calls);

        recorder = scenario.answers;
        outcome = Capture([] { return SQLUtils::InsertXManConfig(INCOPYCC2020MAC, "/a"); });
        EXPECT_EQ(outcome.succeeded, scenario.succeeds);
        EXPECT_EQ(outcome.printed, scenario.printed + "InsertXManConfig execution: " + verdict);
        EXPECT_EQ(recorder.calls, scenario.calls);
    }
}

} // namespace
