#include "Tables.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

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

// Every value of the catalogue, written out once more, one by one: the records are composed from
// what products have in common, and this is what must come out.

struct Row {
    const char* applicationName;
    const ProductRecord& record;
    ProductRecord expected;
};

const std::vector<Row>& Rows() {
    static const std::vector<Row> rows = {
        {"Adobe InCopy CC 2019 Win64",
         INCOPYCC2019WIN64,
         {
             {"ProdId", "155"},
             {"ProdName", "InCopy64"},
             {"ProdNameLowCase", "incopy"},
             {"DisplayName", "InCopy CC 2019 64"},
             {"FamilyName", "InCopy"},
             {"ProdVersion", "14.0.0"},
             {"PCDEntryName", "incopy-14.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InCopy CC 2019"},
             {"AppUser", "incopy_user"},
             {"PluginConfigFile",
              "UserDataFolder/Adobe/InCopy/Version 14.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InCopy/Version 14.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "AICY"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "2019"},
         }},
        {"Adobe InCopy CC 2019",
         INCOPYCC2019MAC,
         {
             {"ProdId", "156"},
             {"ProdName", "InCopy"},
             {"ProdNameLowCase", "incopy"},
             {"DisplayName", "InCopy CC 2019"},
             {"FamilyName", "InCopy"},
             {"ProdVersion", "14.0.0"},
             {"PCDEntryName", "incopy-14.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InCopy CC 2019"},
             {"AppUser", "incopy_user"},
             {"PluginConfigFile",
              "UserLibraryFolder/Preferences/Adobe InCopy/Version 14.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InCopy/Version 14.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "AICY"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "2019"},
         }},
        {"Adobe InDesign CC 2019 Win64",
         INDESIGNCC2019WIN64,
         {
             {"ProdId", "158"},
             {"ProdName", "InDesign64"},
             {"ProdNameLowCase", "indesign"},
             {"DisplayName", "InDesign CC 2019 64"},
             {"FamilyName", "InDesign"},
             {"ProdVersion", "14.0.0"},
             {"PCDEntryName", "indesign-14.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InDesign CC 2019"},
             {"AppUser", "indesign_user"},
             {"PluginConfigFile",
              "UserDataFolder/Adobe/InDesign/Version 14.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InDesign/Version 14.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "IDSN"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "2019"},
         }},
        {"Adobe InDesign CC 2019",
         INDESIGNCC2019MAC,
         {
             {"ProdId", "159"},
             {"ProdName", "InDesign"},
             {"ProdNameLowCase", "indesign"},
             {"DisplayName", "InDesign CC 2019"},
             {"FamilyName", "InDesign"},
             {"ProdVersion", "14.0.0"},
             {"PCDEntryName", "indesign-14.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InDesign CC 2019"},
             {"AppUser", "indesign_user"},
             {"PluginConfigFile",
              "UserLibraryFolder/Preferences/Adobe InDesign/Version 14.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InDesign/Version 14.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "IDSN"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "2019"},
         }},
        {"Adobe InCopy 2020 Win64",
         INCOPYCC2020WIN64,
         {
             {"ProdId", "186"},
             {"ProdName", "InCopy64"},
             {"ProdNameLowCase", "incopy"},
             {"DisplayName", "InCopy 2020 64"},
             {"FamilyName", "InCopy"},
             {"ProdVersion", "15.0.0"},
             {"PCDEntryName", "incopy-15.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InCopy 2020"},
             {"AppUser", "incopy_user"},
             {"PluginConfigFile",
              "UserDataFolder/Adobe/InCopy/Version 15.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InCopy/Version 15.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "AICY"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "CC"},
         }},
        {"Adobe InCopy 2020",
         INCOPYCC2020MAC,
         {
             {"ProdId", "187"},
             {"ProdName", "InCopy"},
             {"ProdNameLowCase", "incopy"},
             {"DisplayName", "InCopy 2020"},
             {"FamilyName", "InCopy"},
             {"ProdVersion", "15.0.0"},
             {"PCDEntryName", "incopy-15.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InCopy 2020"},
             {"AppUser", "incopy_user"},
             {"PluginConfigFile",
              "UserLibraryFolder/Preferences/Adobe InCopy/Version 15.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InCopy/Version 15.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "AICY"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "CC"},
         }},
        {"Adobe InDesign 2020 Win64",
         INDESIGNCC2020WIN64,
         {
             {"ProdId", "189"},
             {"ProdName", "InDesign64"},
             {"ProdNameLowCase", "indesign"},
             {"DisplayName", "InDesign 2020 64"},
             {"FamilyName", "InDesign"},
             {"ProdVersion", "15.0.0"},
             {"PCDEntryName", "indesign-15.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InDesign 2020"},
             {"AppUser", "indesign_user"},
             {"PluginConfigFile",
              "UserDataFolder/Adobe/InDesign/Version 15.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InDesign/Version 15.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "IDSN"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "CC"},
         }},
        {"Adobe InDesign 2020",
         INDESIGNCC2020MAC,
         {
             {"ProdId", "190"},
             {"ProdName", "InDesign"},
             {"ProdNameLowCase", "indesign"},
             {"DisplayName", "InDesign 2020"},
             {"FamilyName", "InDesign"},
             {"ProdVersion", "15.0.0"},
             {"PCDEntryName", "indesign-15.064"},
             {"AppPath", ""},
             {"LocaleInfo", "en_US"},
             {"SuiteID", "7"},
             {"IconPath", "installFolder/Configuration/Icon.pngs"},
             {"AppInstallFolder", "installFolder"},
             {"AppUserDataFolder", "UserDataFolder/Adobe/Adobe InDesign 2020"},
             {"AppUser", "indesign_user"},
             {"PluginConfigFile",
              "UserLibraryFolder/Preferences/Adobe InDesign/Version 15.0/' || CHAR(36) || 'locale/PlugInConfig.txt"},
             {"PreExtensionFolder",
              "SharedCommonDataFolder/Adobe/InDesign/Version 15.0/' || CHAR(36) || 'locale/Extensions"},
             {"Bit", "64"},
             {"HostNameForCSXS", "IDSN"},
             {"MinExManVersion", "7.5.0"},
             {"suite", "CC"},
         }},
    };
    return rows;
}

TEST(ProductRecords, HoldTheirTwentyFieldsAndNoOther) {
    ASSERT_EQ(Rows().size(), 8U);
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.applicationName);
        EXPECT_EQ(row.expected.size(), 20U);
        EXPECT_EQ(row.record, row.expected);
    }
}

TEST(ProductRecords, AreIteratedInByteOrderOfTheirFieldNames) {
    const std::vector<std::string> expected = {
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
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.applicationName);
        std::vector<std::string> names;
        for (const auto& field : row.record) {
            names.push_back(field.first);
        }
        EXPECT_EQ(names, expected);
    }
}

TEST(ProductRecords, TellUpperFromLowerCaseInFieldNames) {
    EXPECT_EQ(ValueOf(INDESIGNCC2019MAC, "SuiteID"), "7");
    EXPECT_EQ(ValueOf(INDESIGNCC2019MAC, "suite"), "2019");
    EXPECT_EQ(ValueOf(INDESIGNCC2020MAC, "SuiteID"), "7");
    EXPECT_EQ(ValueOf(INDESIGNCC2020MAC, "suite"), "CC");
    for (const char* name : {"Suite", "SUITE", "suiteID", "SuiteId", "ProdID", "prodid"}) {
        EXPECT_EQ(INDESIGNCC2020MAC.count(name), 0U) << name;
    }
}

TEST(SetupAdobeApplicationList, IndexesACopyOfEachRecordUnderItsApplicationsName) {
    SetupAdobeApplicationList();
    EXPECT_EQ(productLine.size(), 8U);
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.applicationName);
        const auto entry = productLine.find(row.applicationName);
        ASSERT_NE(entry, productLine.end());
        EXPECT_EQ(entry->second, row.expected);
        EXPECT_NE(&entry->second, &row.record);
    }
}

TEST(SetupAdobeApplicationList, OrdersTheIndexByName) {
    SetupAdobeApplicationList();
    const std::vector<std::string> expected = {
        "Adobe InCopy 2020",          "Adobe InCopy 2020 Win64",      "Adobe InCopy CC 2019",
        "Adobe InCopy CC 2019 Win64", "Adobe InDesign 2020",          "Adobe InDesign 2020 Win64",
        "Adobe InDesign CC 2019",     "Adobe InDesign CC 2019 Win64",
    };
    std::vector<std::string> names;
    for (const auto& entry : productLine) {
        names.push_back(entry.first);
    }
    EXPECT_EQ(names, expected);
}

TEST(SetupAdobeApplicationList, KeepsTheFirstEntriesWhenCalledAgain) {
    SetupAdobeApplicationList();
    std::vector<const ProductRecord*> before;
    for (auto& entry : productLine) {
        entry.second["mark"] = entry.first;
        before.push_back(&entry.second);
    }
    prodIt = productLine.find("Adobe InDesign 2020");

    SetupAdobeApplicationList();

    std::vector<const ProductRecord*> after;
    for (auto& entry : productLine) {
        EXPECT_EQ(entry.second["mark"], entry.first);
        after.push_back(&entry.second);
        entry.second.erase("mark");
    }
    EXPECT_EQ(after, before);
    EXPECT_EQ(&prodIt->second, &productLine.find("Adobe InDesign 2020")->second);
}

TEST(SetupAdobeApplicationList, CopiesRecordsThatNothingReachesThroughTheIndex) {
    SetupAdobeApplicationList();
    productLine["Adobe InCopy 2020"]["suite"] = "changed";
    EXPECT_EQ(ValueOf(INCOPYCC2020MAC, "suite"), "CC");
    productLine["Adobe InCopy 2020"]["suite"] = "CC";
}

TEST(ProductLine, FindsWholeNamesOnly) {
    SetupAdobeApplicationList();
    for (const char* name :
         {"Adobe InDesign CC 2020", "Adobe InCopy CC 2020", "Adobe InDesign 2019",
          "Adobe InCopy 2019", "adobe indesign 2020", "ADOBE INDESIGN 2020", "Adobe InDesign 2020 ",
          " Adobe InDesign 2020", "Adobe  InDesign 2020", "Adobe InDesign 202",
          "Adobe InDesign 2020 Win", "Adobe InDesign 2020 win64", "Adobe InDesign 2020 Mac",
          "InDesign 2020", "Adobe InDesign", "Adobe Photoshop 2020", ""}) {
        EXPECT_EQ(productLine.find(name), productLine.end()) << name;
    }
}

TEST(STRINGTABLE, HoldsItsSixMessagesAndNoOther) {
    const StringTable expected = {
        {"exManDBNotFound", "\nNot able to locate the Extension Manager registration file.\nPlease "
                            "check if Adobe Extension Manager is installed\n\n"},
        {"unknownCommand",
         "\nNo command not found.\nPlease use the help page for usage hints (-h) \n\n"},
        {"unsupportedApp", "\nThis application is not supported by Tamsel.\n"
                           "Please check the path or use the help page for usage hints (-h)\n\n"},
        {"fileNotFound", "\nCould not resolve a file name from the given path.\n"
                         "Please check the path or use the help page for usage hints (-h)\n\n"},
        {"registrationSuccess", "\nThe application was successfully registrated\n\n"},
        {"help",
         "\nTamsel version 1.0.2 build 0\n"
         "Supports: InCopy CC 2019, InDesign CC 2019, InCopy 2020, InDesign 2020\n\n"
         "NAME\n\n"
         "        Tamsel -- Registration and/or repair of the Adobe Extension Manager for Adobe "
         "products\n\n"
         "SYNOPSIS\n\n"
         "        Tamsel [-r] file_path\n\n"
         "DESCRIPTION\n\n"
         "        Registers and/or repairs the registration of Adobe applications within the Adobe "
         "Extension Manager\n"
         "        by specifying the path to the application to repair.\n\n"
         "OPTIONS\n\n"
         "        -r\tRegisters or repairs the application registration on the given path\n\n"},
    };
    EXPECT_EQ(STRINGTABLE, expected);
}

TEST(STRINGTABLE, TellsUpperFromLowerCaseAndOrdersItsKeysByBytes) {
    for (const char* key : {"Help", "HELP", "exmandbnotfound", "UnknownCommand"}) {
        EXPECT_EQ(STRINGTABLE.count(key), 0U) << key;
    }
    const std::vector<std::string> expected = {
        "exManDBNotFound",     "fileNotFound",   "help",
        "registrationSuccess", "unknownCommand", "unsupportedApp"};
    std::vector<std::string> keys;
    for (const auto& message : STRINGTABLE) {
        keys.push_back(message.first);
    }
    EXPECT_EQ(keys, expected);
}

} // namespace
