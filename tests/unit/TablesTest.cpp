#include "Tables.h"

#include "Products.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

// What the statements do not show: SQLUtilsTest.cpp pins the values that they use, and the tests of
// the command line pin the messages.

namespace {

static_assert(EXMANDBPATH
              == std::string_view("/Library/Application Support/Adobe/Extension Manager "
                                  "CC/Configuration/DB/ExMan.db"));

using Names = std::vector<std::string>;

template <typename Map>
Names Keys(const Map& map) {
    Names keys;
    for (const auto& entry : map) {
        keys.push_back(entry.first);
    }
    return keys;
}

TEST(ProductRecords, HoldTwentyFieldsAndThreeValuesThatNoStatementUses) {
    const Names fields = {
        "AppInstallFolder",
        "AppPath",
        "AppUser",
        "AppUserDataFolder",
        "Bit",
        "DisplayName",
        "FamilyName",
        "HostNameForCSXS",
        "IconPath",
        "LocaleInfo",
        "MinExManVersion",
        "PCDEntryName",
        "PluginConfigFile",
        "PreExtensionFolder",
        "ProdId",
        "ProdName",
        "ProdNameLowCase",
        "ProdVersion",
        "SuiteID",
        "suite",
    };
    for (const auto& product : PRODUCTS) {
        SCOPED_TRACE(product.applicationName);
        EXPECT_EQ(Keys(product.record), fields);
        EXPECT_EQ(ValueOf(product.record, "AppPath"), "");
        EXPECT_EQ(ValueOf(product.record, "Bit"), "64");
        EXPECT_EQ(ValueOf(product.record, "MinExManVersion"), "7.5.0");
    }
}

TEST(SetupAdobeApplicationList, IndexesEachRecordUnderItsApplicationsName) {
    SetupAdobeApplicationList();
    Names names;
    for (const auto& product : PRODUCTS) {
        EXPECT_EQ(productLine[product.applicationName], product.record) << product.applicationName;
        names.emplace_back(product.applicationName);
    }
    EXPECT_EQ(Keys(productLine), names);
}

TEST(SetupAdobeApplicationList, KeepsTheEntriesThatAreThereAlready) {
    productLine.clear();
    for (const auto& product : PRODUCTS) {
        productLine[product.applicationName] = {{"mark", product.applicationName}};
    }
    const ProductLine before = productLine;
    const auto* const position = &productLine["Adobe InDesign 2020"];
    SetupAdobeApplicationList();
    EXPECT_EQ(productLine, before);
    EXPECT_EQ(&productLine["Adobe InDesign 2020"], position);
    productLine.clear();
}

TEST(STRINGTABLE, HoldsSixMessagesAndNoOther) {
    EXPECT_EQ(Keys(STRINGTABLE),
              (Names{"exManDBNotFound", "fileNotFound", "help", "registrationSuccess",
                     "unknownCommand", "unsupportedApp"}));
}

} // namespace
