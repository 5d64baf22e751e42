#include "Tables.h"

#include <cassert>
#include <utility>

namespace {

// The three ways in which products differ. They are compile-time constants, so the tables below may
// use them whatever the order of start-up.

struct Family {
    const char* name;
    const char* lowCaseName;
    const char* hostNameForCSXS;
};
constexpr Family INCOPY{"InCopy", "incopy", "AICY"};
constexpr Family INDESIGN{"InDesign", "indesign", "IDSN"};

struct Release {
    const char* name;
    const char* version;
    const char* suite;
};
// Intended: suite is the year for CC 2019 and "CC" for 2020.
constexpr Release CC2019{"CC 2019", "14.0", "2019"};
constexpr Release CC2020{"2020", "15.0", "CC"};

struct Platform {
    const char* prodNameSuffix;
    const char* displayNameSuffix;
    const char* pluginConfigRoot;
};
constexpr Platform WIN64{"64", " 64", "UserDataFolder/Adobe/"};
constexpr Platform MAC{"", "", "UserLibraryFolder/Preferences/Adobe "};

// Adds an entry to a table that is being written down. A key keeps its first value.
void Add(Table& table, const char* key, std::string value) {
    table.emplace_hint(table.end(), key, std::move(value));
}

// A folder of the Extension Manager's paths: a slash, a dollar sign and "locale", as SQL.
constexpr char LOCALE[] = "/' || CHAR(36) || 'locale";

ProductRecord MakeRecord(const char* prodId, Family family, Release release, Platform platform) {
    const std::string name = family.name;
    const std::string lowCaseName = family.lowCaseName;
    const std::string version = release.version;
    const std::string versionFolder = "/Version " + version + LOCALE;

    ProductRecord record;
    Add(record, "ProdId", prodId);
    Add(record, "ProdName", name + platform.prodNameSuffix);
    Add(record, "ProdNameLowCase", lowCaseName);
    Add(record, "DisplayName", name + " " + release.name + platform.displayNameSuffix);
    Add(record, "FamilyName", name);
    Add(record, "ProdVersion", version + ".0");
    // Intended: the entry ends in "064" on both platforms.
    Add(record, "PCDEntryName", lowCaseName + "-" + version + "64");
    // Intended: present and empty; the row's AppPath comes from the command line.
    Add(record, "AppPath", "");
    Add(record, "LocaleInfo", "en_US");
    Add(record, "SuiteID", "7");
    // Intended: "pngs" in every record.
    Add(record, "IconPath", "installFolder/Configuration/Icon.pngs");
    Add(record, "AppInstallFolder", "installFolder");
    Add(record, "AppUserDataFolder", "UserDataFolder/Adobe/Adobe " + name + " " + release.name);
    Add(record, "AppUser", lowCaseName + "_user");
    Add(record, "PluginConfigFile",
        platform.pluginConfigRoot + name + versionFolder + "/PlugInConfig.txt");
    Add(record, "PreExtensionFolder",
        "SharedCommonDataFolder/Adobe/" + name + versionFolder + "/Extensions");
    // Intended: 64 on both platforms.
    Add(record, "Bit", "64");
    Add(record, "HostNameForCSXS", family.hostNameForCSXS);
    Add(record, "MinExManVersion", "7.5.0");
    Add(record, "suite", release.suite);
    return record;
}

constexpr char VERSION[] = "1.0.2 build 0";

// Intended, in all messages: the wording is part of the interface, slips and blanks included, and
// the help page lists only -r though the messages speak of -h.
StringTable MakeStringTable() {
    StringTable table;
    Add(table, "help",
        std::string("\nTamsel version ") + VERSION
            + "\nSupports: InCopy CC 2019, InDesign CC 2019, InCopy 2020, InDesign 2020\n"
              "\n"
              "NAME\n"
              "\n"
              "        Tamsel -- Registration and/or repair of the Adobe Extension Manager for "
              "Adobe products\n"
              "\n"
              "SYNOPSIS\n"
              "\n"
              "        Tamsel [-r] file_path\n"
              "\n"
              "DESCRIPTION\n"
              "\n"
              "        Registers and/or repairs the registration of Adobe applications within the "
              "Adobe Extension Manager\n"
              "        by specifying the path to the application to repair.\n"
              "\n"
              "OPTIONS\n"
              "\n"
              "        -r\tRegisters or repairs the application registration on the given path\n"
              "\n");
    Add(table, "exManDBNotFound",
        "\nNot able to locate the Extension Manager registration file.\n"
        "Please check if Adobe Extension Manager is installed\n\n");
    Add(table, "unknownCommand",
        "\nNo command not found.\n"
        "Please use the help page for usage hints (-h) \n\n");
    Add(table, "unsupportedApp",
        "\nThis application is not supported by Tamsel.\n"
        "Please check the path or use the help page for usage hints (-h)\n\n");
    Add(table, "fileNotFound",
        "\nCould not resolve a file name from the given path.\n"
        "Please check the path or use the help page for usage hints (-h)\n\n");
    Add(table, "registrationSuccess", "\nThe application was successfully registrated\n\n");
    return table;
}

} // namespace

// The tables are built before main, from top to bottom, and destroyed at exit from bottom to top.
// They share this file because only within one file does C++ settle that order.

ProductLine productLine;
ProductLine::const_iterator prodIt;

const ProductRecord INCOPYCC2019WIN64 = MakeRecord("155", INCOPY, CC2019, WIN64);
const ProductRecord INCOPYCC2019MAC = MakeRecord("156", INCOPY, CC2019, MAC);
const ProductRecord INDESIGNCC2019WIN64 = MakeRecord("158", INDESIGN, CC2019, WIN64);
const ProductRecord INDESIGNCC2019MAC = MakeRecord("159", INDESIGN, CC2019, MAC);
const ProductRecord INCOPYCC2020WIN64 = MakeRecord("186", INCOPY, CC2020, WIN64);
const ProductRecord INCOPYCC2020MAC = MakeRecord("187", INCOPY, CC2020, MAC);
const ProductRecord INDESIGNCC2020WIN64 = MakeRecord("189", INDESIGN, CC2020, WIN64);
const ProductRecord INDESIGNCC2020MAC = MakeRecord("190", INDESIGN, CC2020, MAC);

const StringTable STRINGTABLE = MakeStringTable();

void SetupAdobeApplicationList() {
    // insert keeps an entry that is there: a repeated call must not replace any.
    productLine.insert({"Adobe InCopy CC 2019 Win64", INCOPYCC2019WIN64});
    productLine.insert({"Adobe InCopy CC 2019", INCOPYCC2019MAC});
    productLine.insert({"Adobe InDesign CC 2019 Win64", INDESIGNCC2019WIN64});
    productLine.insert({"Adobe InDesign CC 2019", INDESIGNCC2019MAC});
    // Intended: from here on without "CC", as the products are called.
    productLine.insert({"Adobe InCopy 2020 Win64", INCOPYCC2020WIN64});
    productLine.insert({"Adobe InCopy 2020", INCOPYCC2020MAC});
    productLine.insert({"Adobe InDesign 2020 Win64", INDESIGNCC2020WIN64});
    productLine.insert({"Adobe InDesign 2020", INDESIGNCC2020MAC});
}

const std::string& ValueOf(const Table& table, const char* key) {
    const auto entry = table.find(key);
    assert(entry != table.end());
    return entry->second;
}
