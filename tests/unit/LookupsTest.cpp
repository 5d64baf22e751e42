// The order in which a record's fields are looked up: SQLUtils is linked with a catalogue that
// records each lookup. The records are empty, so a lookup of any other kind would find nothing.

#include "SQLUtils.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Fields = std::vector<std::string>;

Fields lookups;

} // namespace

const std::string& ValueOf(const Table& /*table*/, const char* key) {
    static const std::string value = "value";
    lookups.emplace_back(key);
    return value;
}

namespace {

TEST(ProductInfoStatement, LooksEachFieldUpOnceInTheOrderOfTheColumns) {
    lookups.clear();
    SQLUtils::ProductInfoStatement({}, "/a");
    EXPECT_EQ(lookups, (Fields{"ProdId", "ProdName", "DisplayName", "FamilyName", "ProdVersion",
                               "PCDEntryName", "LocaleInfo", "SuiteID"}));
}

TEST(XManConfigStatement, LooksTheNumberUpOnceAndThenEachFieldInTheOrderOfTheRows) {
    lookups.clear();
    SQLUtils::XManConfigStatement({}, "/a");
    EXPECT_EQ(lookups,
              (Fields{"ProdId", "IconPath", "ProdNameLowCase", "AppInstallFolder", "AppUser",
                      "AppUserDataFolder", "PluginConfigFile", "PreExtensionFolder", "DisplayName",
                      "FamilyName", "HostNameForCSXS", "ProdName", "suite"}));
}

TEST(Insert, LooksUpWhatItsStatementNeedsAndNothingElse) {
    lookups.clear();
    testing::internal::CaptureStdout();
    SQLUtils::InsertProductInfo({}, "/a");
    SQLUtils::InsertXManConfig({}, "/a");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(lookups.size(), 8U + 13U);
}

} // namespace
