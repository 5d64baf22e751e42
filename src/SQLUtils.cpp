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

// Intended, in both statements below: values are spliced in as they stand. A record's values are
// the contents of SQL string literals, and escaping their quotes would store the CHAR(36)
// fragments that some of them carry instead of the dollar signs that these stand for.

bool InsertProductInfo(ProductRecord record, std::string appFolder) {
    const std::string sql =
        "INSERT OR REPLACE INTO Tb_ProductInfoV2 ('ProdID', 'ProdName', 'DisplayName', "
        "'FamilyName', 'ProdVersion', 'PCDEntryName', 'AppPath', 'LocaleInfo', 'SuiteID') VALUES ('"
        + ValueOf(record, "ProdId") + "', '" + ValueOf(record, "ProdName") + "', '"
        + ValueOf(record, "DisplayName") + "', '" + ValueOf(record, "FamilyName") + "', '"
        + ValueOf(record, "ProdVersion") + "', '" + ValueOf(record, "PCDEntryName") + "', '"
        + appFolder + "', '" + ValueOf(record, "LocaleInfo") + "', '" + ValueOf(record, "SuiteID")
        + "');";

    const bool succeeded = ExecuteSQL(sql);
    std::printf("InsertProductInfo execution: %s\n\n", succeeded ? "succeeded" : "failed");
    return succeeded;
}

bool InsertXManConfig(ProductRecord record, std::string appFolder) {
    const std::string id = ValueOf(record, "ProdId");
    const auto value = [&record](const char* field) -> const std::string& {
        return ValueOf(record, field);
    };

    // A dollar sign is stored by CHAR(36), so that the statement's own text never holds one: this
    // ends a column, and the next column's value is a dollar sign and the text that follows.
    const std::string dollar = "', CHAR(36) || '";

    // Ends a row and begins the next one.
    // Intended: exactly 13 blanks before each of the fourteen rows.
    const std::string nextRow = "'),             ('" + id;

    std::string sql = "INSERT OR REPLACE INTO Tb_XManConfig ('ProdID', 'KeyName', 'KeyValue') "
                      "VALUES             ('"
                      + id;
    sql += "', CHAR(36) || 'iconpath" + dollar + value("IconPath") + nextRow;
    sql += dollar + value("ProdNameLowCase") + dollar + value("AppInstallFolder") + nextRow;
    sql += dollar + value("AppUser") + dollar + value("AppUserDataFolder") + nextRow;
    sql += "', CHAR(36) || 'installfolder', '" + appFolder + nextRow;
    sql += "', CHAR(36) || 'pluginconfigfile" + dollar + value("PluginConfigFile") + nextRow;
    sql += "', CHAR(36) || 'preextensionfolder" + dollar + value("PreExtensionFolder") + nextRow;
    // Intended: constants, whatever the record's Bit, LocaleInfo and MinExManVersion say.
    sql += "', 'bit', '64" + nextRow;
    sql += "', 'defaultlocale', 'en_US" + nextRow;
    sql += "', 'displayname', '" + value("DisplayName") + nextRow;
    sql += "', 'familyname', '" + value("FamilyName") + nextRow;
    sql += "', 'hostnameforcsxs', '" + value("HostNameForCSXS") + nextRow;
    sql += "', 'minexmanversion', '7.5.0" + nextRow;
    sql += "', 'productname', '" + value("ProdName") + nextRow;
    sql += "', 'suite', '" + value("suite") + "');";

    const bool succeeded = ExecuteSQL(sql);
    std::printf("InsertXManConfig execution: %s\n\n", succeeded ? "succeeded" : "failed");
    return succeeded;
}

} // namespace SQLUtils
