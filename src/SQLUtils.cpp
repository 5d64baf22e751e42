#include "SQLUtils.h"

#include <cstdio>
#include <sqlite3.h>

namespace SQLUtils {

bool ExecuteSQL(std::string sql) {
    if (sql.empty()) {
        return false;
    }

    bool succeeded = false;
    sqlite3* database = nullptr;
    if (sqlite3_open(EXMANDBPATH, &database) != SQLITE_OK) {
        // Intended: a failed open leaves a connection to close, but no statement to finalize.
        std::printf("ERROR: can't open database: %s\n\n", sqlite3_errmsg(database));
    } else {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
            std::printf("ERROR: while compiling sql: %s\n\n", sqlite3_errmsg(database));
        } else {
            int code = SQLITE_ROW;
            while (code == SQLITE_ROW) {
                code = sqlite3_step(statement);
            }
            std::printf("Return code after executing SQL: %d\n\n", code);
            succeeded = code == SQLITE_DONE;
        }
        // Intended: "statemant" is part of the interface, and a statement that did not compile
        // is finalized as well; it is null, and the code is 0.
        std::printf("Finalized statemant: %d\n\n", sqlite3_finalize(statement));
    }
    // Intended: neither this code nor the one before changes the result.
    std::printf("Closed database: %d\n\n", sqlite3_close(database));
    return succeeded;
}

namespace {

// Two SQL expressions, each for a text that is given as the contents of an SQL string literal.
// Intended: it is spliced in as it stands. Escaping the quotes in a record's values would store
// the CHAR(36) fragments that some of them carry instead of the dollar signs these stand for.

std::string Text(const std::string& text) {
    return "'" + text + "'";
}

// A dollar sign and the text. A statement's own text never holds a dollar sign.
std::string Dollar(const std::string& text) {
    return "CHAR(36) || " + Text(text);
}

} // namespace

std::string ProductInfoStatement(const ProductRecord& record, const std::string& appFolder) {
    const auto value = [&record](const char* field) { return Text(ValueOf(record, field)); };
    // Braces look the fields up in the order of the columns.
    const struct {
        const char* column;
        std::string value;
    } entries[] = {
        {"ProdID", value("ProdId")},           {"ProdName", value("ProdName")},
        {"DisplayName", value("DisplayName")}, {"FamilyName", value("FamilyName")},
        {"ProdVersion", value("ProdVersion")}, {"PCDEntryName", value("PCDEntryName")},
        {"AppPath", Text(appFolder)},          {"LocaleInfo", value("LocaleInfo")},
        {"SuiteID", value("SuiteID")},
    };

    std::string columns;
    std::string values;
    const char* separator = "";
    for (const auto& entry : entries) {
        columns += separator + Text(entry.column);
        values += separator + entry.value;
        separator = ", ";
    }
    return "INSERT OR REPLACE INTO Tb_ProductInfoV2 (" + columns + ") VALUES (" + values + ");";
}

std::string XManConfigStatement(const ProductRecord& record, const std::string& appFolder) {
    const auto value = [&record](const char* field) -> const std::string& {
        return ValueOf(record, field);
    };
    const std::string id = Text(value("ProdId"));
    const struct {
        std::string key;
        std::string value;
    } rows[] = {
        {Dollar("iconpath"), Dollar(value("IconPath"))},
        {Dollar(value("ProdNameLowCase")), Dollar(value("AppInstallFolder"))},
        {Dollar(value("AppUser")), Dollar(value("AppUserDataFolder"))},
        {Dollar("installfolder"), Text(appFolder)},
        {Dollar("pluginconfigfile"), Dollar(value("PluginConfigFile"))},
        {Dollar("preextensionfolder"), Dollar(value("PreExtensionFolder"))},
        // Intended: constants, whatever the record's Bit, LocaleInfo and MinExManVersion say.
        {Text("bit"), Text("64")},
        {Text("defaultlocale"), Text("en_US")},
        {Text("displayname"), Text(value("DisplayName"))},
        {Text("familyname"), Text(value("FamilyName"))},
        {Text("hostnameforcsxs"), Text(value("HostNameForCSXS"))},
        {Text("minexmanversion"), Text("7.5.0")},
        {Text("productname"), Text(value("ProdName"))},
        {Text("suite"), Text(value("suite"))},
    };

    std::string sql =
        "INSERT OR REPLACE INTO Tb_XManConfig ('ProdID', 'KeyName', 'KeyValue') VALUES";
    const char* separator = "";
    for (const auto& row : rows) {
        sql += separator;
        // Intended: exactly 13 blanks before each of the fourteen rows.
        sql += "             (" + id + ", " + row.key + ", " + row.value + ")";
        separator = ",";
    }
    return sql + ";";
}

bool InsertProductInfo(ProductRecord record, std::string appFolder) {
    const bool succeeded = ExecuteSQL(ProductInfoStatement(record, appFolder));
    std::printf("InsertProductInfo execution: %s\n\n", succeeded ? "succeeded" : "failed");
    return succeeded;
}

bool InsertXManConfig(ProductRecord record, std::string appFolder) {
    const bool succeeded = ExecuteSQL(XManConfigStatement(record, appFolder));
    std::printf("InsertXManConfig execution: %s\n\n", succeeded ? "succeeded" : "failed");
    return succeeded;
}

} // namespace SQLUtils
