#include "Tables.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// What the statements do not show: SQLUtilsTest.cpp pins the values that they use, and the tests of
// the command line pin the messages.

namespace {

template <typename... Tables>
constexpr bool ALL_CONSTANT = (std::is_const_v<Tables> && ...);

static_assert(ALL_CONSTANT<decltype(INCOPYCC2019WIN64), decltype(INCOPYCC2019MAC),
                           decltype(INDESIGNCC2019WIN64), decltype(INDESIGNCC2019MAC),
                           decltype(INCOPYCC2020WIN64), decltype(INCOPYCC2020MAC),
                           decltype(INDESIGNCC2020WIN64), decltype(INDESIGNCC2020MAC)>,
              "nothing changes a record");
static_assert(ALL_CONSTANT<decltype(STRINGTABLE)>, "nothing changes a message");
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

// In the order of the index.
const struct {
    std::string applicationName;
    const ProductRecord& record;
} PRODUCTS[] = {
    {"Adobe InCopy 2020", INCOPYCC2020MAC},
    {"Adobe InCopy 2020 Win64", INCOPYCC2020WIN64},
    {"Adobe InCopy CC 2019", INCOPYCC2019MAC},
    {"Adobe InCopy CC 2019 Win64", INCOPYCC2019WIN64},
    {"Adobe InDesign 2020", INDESIGNCC2020MAC},
    {"Adobe InDesign 2020 Win64", INDESIGNCC2020WIN64},
    {"Adobe InDesign CC 2019", INDESIGNCC2019MAC},
    {"Adobe InDesign CC 2019 Win64", INDESIGNCC2019WIN64},
};

TEST(ProductRecords, HoldTwentyFieldsInByteOrderOfTheirNames) {
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
        EXPECT_EQ(Keys(product.record), fields) << product.applicationName;
    }
}

TEST(ProductRecords, HoldValuesThatNoStatementUses) {
    for (const auto& product : PRODUCTS) {
        SCOPED_TRACE(product.applicationName);
        EXPECT_EQ(ValueOf(product.record, "AppPath"), "");
        EXPECT_EQ(ValueOf(product.record, "Bit"), "64");
        EXPECT_EQ(ValueOf(product.record, "MinExManVersion"), "7.5.0");
        EXPECT_EQ(product.record.size(), 20U) << "a lookup inserts nothing";
    }
}

TEST(SetupAdobeApplicationList, IndexesEachRecordUnderItsApplicationsName) {
    SetupAdobeApplicationList();
    Names names;
    for (const auto& product : PRODUCTS) {
        EXPECT_EQ(productLine[product.applicationName], product.record) << product.applicationName;
        names.push_back(product.applicationName);
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
