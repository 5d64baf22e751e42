#include "Inspection.h"

#include "Places.h"
#include "SQLUtils.h"

#include <string_view>

namespace {

// How the rows of a table are told apart, and how one is called.
struct Rows {
    std::string statement;
    std::string key;
    std::string name;
};

std::vector<Rows> RowsOf(const Application& application) {
    return {{SQLUtils::ProductInfoStatement(*application.record, application.Folder()),
             "e.ProdID = i.ProdID", "'the product''s row'"},
            {SQLUtils::XManConfigStatement(*application.record, application.Folder()),
             "e.ProdID = i.ProdID AND e.KeyName = i.KeyName", "e.KeyName"}};
}

} // namespace

Inspection::Inspection(const char* how, const Patience& patience) : memory(patience) {
    memory.Attach(DATABASE, how, "installed");
    memory.Value("SELECT COUNT(*) FROM installed.sqlite_master");
}

std::string Inspection::Expect(const std::string& statement) {
    // The table with just the columns that the statement names: INSERT OR REPLACE INTO table
    // (columns) VALUES ...
    constexpr std::string_view BEFORE = "INSERT OR REPLACE INTO ";
    const std::string table =
        statement.substr(BEFORE.size(), statement.find(" VALUES") - BEFORE.size());
    const std::string name = table.substr(0, table.find(' '));
    memory.Execute("DROP TABLE IF EXISTS main." + name + "; CREATE TABLE " + table + "; "
                   + statement);
    return name;
}

std::vector<std::string> Inspection::Missing(const Application& application) {
    std::vector<std::string> missing;
    for (const Rows& rows : RowsOf(application)) {
        const std::string table = Expect(rows.statement);
        const std::string isSame =
            memory.Value("SELECT group_concat('e.' || name || ' IS i.' || name, ' AND ')"
                         " FROM pragma_table_info('"
                         + table + "')");
        // Of a row's namesakes, where the table allows several, each has to be the same.
        Statement unlike(memory, "SELECT " + rows.name + " FROM main." + table
                                     + " AS e WHERE (SELECT MIN(" + isSame + ") FROM installed."
                                     + table + " AS i WHERE " + rows.key + ") IS NOT 1");
        while (unlike.Next()) {
            missing.push_back(unlike.Text(0));
        }
    }
    return missing;
}

bool Inspection::IsExplained(const Application& application, const Backup& backup) {
    memory.Attach(backup.Database(), IMMUTABLE, "saved");
    bool explained = true;
    for (const Rows& rows : RowsOf(application)) {
        const std::string table = Expect(rows.statement);
        // As texts, since the columns in memory have no types.
        const std::string columns = memory.Value(
            "SELECT group_concat('CAST(' || name || ' AS TEXT)') FROM pragma_table_info('" + table
            + "')");
        const std::string select = "SELECT " + columns + " FROM ";
        const std::string where = table + " WHERE ProdID = (SELECT ProdID FROM main." + table + ")";
        explained = explained
                    && memory.Value("SELECT COUNT(*) FROM (" + select + "installed." + where
                                    + " EXCEPT " + select + "saved." + where + " EXCEPT " + select
                                    + "main." + table + ")")
                           == "0";
    }
    memory.Execute("DETACH saved");
    return explained;
}
