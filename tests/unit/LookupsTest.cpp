// The order in which a record's fields are looked up: SQLUtils is linked with a catalogue that
// records each lookup. The records are empty, so a lookup of any other kind would find nothing.

#include "SQLUtils.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

std::vector<std::string> lookups;

} // namespace

const std::string& ValueOf(const Table& /*table*/, const char* key) {
    static const std::string value = "value";
    lookups.emplace_back(key);
    return value;
}

TEST(Insert, LooksEachFieldUpOnceInTheOrderOfItsStatement) {
    testing::internal::CaptureStdout();
    SQLUtils::InsertProductInfo({}, "/a");
    SQLUtils::InsertXManConfig({}, "/a");
    testing::internal::GetCapturedStdout();
    const std::vector<std::string> expected = {
        "ProdId", "ProdName", "DisplayName", "FamilyName", "ProdVersion", "PCDEntryName",
        "LocaleInfo", "SuiteID",
        // The fourteen rows.
        "ProdId", "IconPath", "ProdNameLowCase", "AppInstallFolder", "AppUser", "AppUserDataFolder",
        "PluginConfigFile", "PreExtensionFolder", "DisplayName", "FamilyName", "HostNameForCSXS",
        "ProdName", "suite"};
    EXPECT_EQ(lookups, expected);
}
