// Both statements with texts of all kinds, run on an in-memory database: whatever the texts are,
// each is stored byte for byte in its column, and what surrounds it is as written.
//
// An input is a list of texts with NULs between them: the folder, then the record's fields in the
// order of FIELDS. sqlite3_open and the functions beside it are wrapped at link time.

#include "SQLUtils.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sqlite3.h>
#include <string>
#include <vector>

namespace {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// Everything that the operations have handed to SQLite since the start of the input.
Row statements;
sqlite3* database = nullptr;

const char* const FIELDS[] = {
    "ProdId",     "ProdName",         "ProdNameLowCase",    "DisplayName",
    "FamilyName", "ProdVersion",      "PCDEntryName",       "LocaleInfo",
    "SuiteID",    "IconPath",         "AppInstallFolder",   "AppUserDataFolder",
    "AppUser",    "PluginConfigFile", "PreExtensionFolder", "HostNameForCSXS",
    "suite",
};

void Demand(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", what);
        for (const std::string& statement : statements) {
            std::fprintf(stderr, "%s\n", statement.c_str());
        }
        std::abort();
    }
}

void Run(const std::string& sql) {
    Demand(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
           sql.c_str());
}

std::string Content(const std::string& path) {
    std::ifstream file(path);
    Demand(file.good(), path.c_str());
    return {std::istreambuf_iterator<char>(file), {}};
}

Rows Query(const char* sql) {
    Rows rows;
    const auto addRow = [](void* all, int count, char** values, char**) {
        static_cast<Rows*>(all)->emplace_back(values, values + count);
        return 0;
    };
    Demand(sqlite3_exec(database, sql, addRow, &rows, nullptr) == SQLITE_OK, sql);
    return rows;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

// The contents of the SQL string literal that stands for a text.
std::string Quoted(const std::string& text) {
    return Replaced(text, "'", "''");
}

// The same in a record, where a dollar sign is never written as such.
std::string QuotedWithoutDollars(const std::string& text) {
    return Replaced(Quoted(text), "$", "' || CHAR(36) || '");
}

// The rows that must come out of the database, in the order of their columns.
Row InfoRow(const std::string& folder, std::map<std::string, std::string>& texts) {
    return {texts["ProdId"],
            texts["ProdName"],
            texts["DisplayName"],
            texts["FamilyName"],
            texts["ProdVersion"],
            texts["PCDEntryName"],
            folder,
            texts["LocaleInfo"],
            texts["SuiteID"]};
}

Rows ConfigurationRows(const std::string& folder, std::map<std::string, std::string>& texts) {
    Rows rows = {
        {"$iconpath", "$" + texts["IconPath"]},
        {"$" + texts["ProdNameLowCase"], "$" + texts["AppInstallFolder"]},
        {"$" + texts["AppUser"], "$" + texts["AppUserDataFolder"]},
        {"$installfolder", folder},
        {"$pluginconfigfile", "$" + texts["PluginConfigFile"]},
        {"$preextensionfolder", "$" + texts["PreExtensionFolder"]},
        {"bit", "64"},
        {"defaultlocale", "en_US"},
        {"displayname", texts["DisplayName"]},
        {"familyname", texts["FamilyName"]},
        {"hostnameforcsxs", texts["HostNameForCSXS"]},
        {"minexmanversion", "7.5.0"},
        {"productname", texts["ProdName"]},
        {"suite", texts["suite"]},
    };
    for (Row& row : rows) {
        row.insert(row.begin(), texts["ProdId"]);
    }
    return rows;
}

// Whatever the texts are, they come out of the database as they were.
void DemandThatTextsAreStored(const std::string& folder, std::map<std::string, std::string> texts) {
    ProductRecord record;
    for (const auto& [field, text] : texts) {
        record[field] = QuotedWithoutDollars(text);
    }
    Run("BEGIN");
    Demand(SQLUtils::InsertProductInfo(record, Quoted(folder)), "the product's row is written");
    Demand(SQLUtils::InsertXManConfig(record, Quoted(folder)), "the fourteen rows are written");
    Demand(statements.size() == 2, "each operation runs one statement");
    for (const std::string& statement : statements) {
        Demand(folder.find('$') != std::string::npos || statement.find('$') == std::string::npos,
               "only the folder brings a dollar sign into a statement");
    }
    Demand(Query("SELECT * FROM Tb_ProductInfoV2 ORDER BY rowid LIMIT -1 OFFSET 2")
               == Rows{InfoRow(folder, texts)},
           "the product's row holds the texts");
    Demand(Query("SELECT * FROM Tb_XManConfig ORDER BY rowid LIMIT -1 OFFSET 4")
               == ConfigurationRows(folder, texts),
           "the fourteen rows hold the texts");
    Run("ROLLBACK");
}

// A folder reaches the statement as it stands, even if that breaks it.
void DemandThatTheFolderIsSplicedIn(const std::string& folder) {
    static const std::string expected = Content(EXPECTED_FOLDER "/INDESIGNCC2020MAC.sql");
    statements.clear();
    Run("BEGIN");
    SQLUtils::InsertProductInfo(INDESIGNCC2020MAC, folder);
    SQLUtils::InsertXManConfig(INDESIGNCC2020MAC, folder);
    Demand(sqlite3_get_autocommit(database) == 0, "the folder cannot end the transaction");
    Run("ROLLBACK");
    Row lines = statements;
    Demand(lines.size() == 2, "each operation runs one statement");
    const std::string mark = "/Applications/Adobe InDesign 2020'";
    Demand(lines[0] + "\n" + lines[1] + "\n" == Replaced(expected, mark, folder + "'"),
           "nothing but the folder differs");
}

} // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier)

int __real_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int length,
                              sqlite3_stmt** statement, const char** tail);

int __wrap_sqlite3_open(const char* path, sqlite3** connection) {
    Demand(path == std::string(EXMANDBPATH), "the Extension Manager's database is opened");
    *connection = database;
    return SQLITE_OK;
}

int __wrap_sqlite3_prepare_v2(sqlite3* connection, const char* sql, int length,
                              sqlite3_stmt** statement, const char** tail) {
    statements.emplace_back(sql);
    return __real_sqlite3_prepare_v2(connection, sql, length, statement, tail);
}

int __wrap_sqlite3_close(sqlite3* connection) {
    Demand(connection == database, "what was opened is closed");
    Demand(sqlite3_next_stmt(connection, nullptr) == nullptr, "every statement is finalized");
    return SQLITE_OK;
}

// NOLINTEND(bugprone-reserved-identifier)

int LLVMFuzzerInitialize(int*, char***) {
    // What the operations print is for other tests.
    Demand(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output is silent");
    Demand(sqlite3_open_v2(":memory:", &database, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK,
           "a database is there");
    // A folder can be an SQL expression; it must not make large values.
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, 1000000);
    Run(Content(SCHEMAS_FOLDER "/without-keys.sql"));
    Run(Content(SCHEMAS_FOLDER "/unrelated-rows.sql"));
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Row texts(1);
    for (const std::uint8_t* byte = data; byte != data + size; ++byte) {
        if (*byte == 0) {
            texts.emplace_back();
        } else {
            texts.back().push_back(static_cast<char>(*byte));
        }
    }
    texts.resize(std::size(FIELDS) + 1);
    std::map<std::string, std::string> fields;
    for (std::size_t i = 0; i < std::size(FIELDS); ++i) {
        fields[FIELDS[i]] = texts[i + 1];
    }
    statements.clear();
    DemandThatTextsAreStored(texts[0], fields);
    DemandThatTheFolderIsSplicedIn(texts[0]);
    return 0;
}

} // extern "C"
