#include "Inspection.h"

#include "Places.h"
#include "SQLUtils.h"

namespace {

// A table that Tamsel writes: how its rows are told apart, and how one is called.
struct Rows {
    const char* table;
    const char* key;
    const char* name;
};
constexpr Rows TABLES[] = {
    {"Tb_ProductInfoV2", "e.ProdID = i.ProdID", "'the product''s row'"},
    {"Tb_XManConfig", "e.ProdID = i.ProdID AND e.KeyName = i.KeyName", "e.KeyName"},
};

// The statement that makes a table with just the columns that one of Tamsel's statements names:
// INSERT OR REPLACE INTO table (columns) VALUES ...
std::string Creation(const std::string& statement) {
    constexpr std::string_view BEFORE = "INSERT OR REPLACE INTO";
    return "CREATE TABLE"
           + statement.substr(BEFORE.size(), statement.find(" VALUES") - BEFORE.size()) + ";";
}

// A text for each of a table's columns, with commas or other words between them.
std::string Columns(Database& memory, const std::string& table, const std::string& text,
                    const std::string& between) {
    return memory.Value("SELECT group_concat(" + text + ", '" + between
                        + "') FROM pragma_table_info('" + table + "')");
}

} // namespace

Inspection::Inspection(std::string_view how, const Patience& patience) : memory(patience) {
    const ProductRecord& any = productLine.begin()->second;
    memory.Execute(Creation(SQLUtils::ProductInfoStatement(any, ""))
                   + Creation(SQLUtils::XManConfigStatement(any, "")));
    memory.Attach(DATABASE, how, "installed");
    if (how == READONLY) {
        memory.Execute("BEGIN");
    }
    for (const Rows& rows : TABLES) {
        const std::string table = rows.table;
        // Of a row's namesakes, where the table allows several, each has to be the same.
        const std::string isSame =
            Columns(memory, table, "'e.' || name || ' IS i.' || name", " AND ");
        unlike.push_back(std::make_unique<Statement>(
            memory, std::string("SELECT ") + rows.name + " FROM main." + table
                        + " AS e WHERE (SELECT MIN(" + isSame + ") FROM installed." + table
                        + " AS i WHERE " + rows.key + ") IS NOT 1"));
    }
}

void Inspection::Expect(const Application& application) {
    for (const Rows& rows : TABLES) {
        memory.Execute(std::string("DELETE FROM main.") + rows.table);
    }
    memory.Execute(SQLUtils::ProductInfoStatement(*application.record, application.Folder())
                   + SQLUtils::XManConfigStatement(*application.record, application.Folder()));
}

std::vector<std::string> Inspection::Missing(const Application& application) {
    Expect(application);
    std::vector<std::string> missing;
    for (const auto& rows : unlike) {
        rows->Reset();
        while (rows->Next()) {
            missing.push_back(rows->Text(0));
        }
    }
    return missing;
}

bool Inspection::IsExplained(const Application& application, const Backup& backup) {
    Expect(application);
    memory.Attach(backup.Database(), IMMUTABLE, "saved");
    bool explained = true;
    for (const Rows& rows : TABLES) {
        const std::string table = rows.table;
        // As texts, since the columns in memory have no types.
        const std::string select =
            "SELECT " + Columns(memory, table, "'CAST(' || name || ' AS TEXT)'", ", ") + " FROM ";
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

bool Inspection::CanDisplace() {
    bool canDisplace = false;
    for (const Rows& rows : TABLES) {
        canDisplace =
            canDisplace
            || memory.Value(std::string("SELECT COUNT(*) FROM pragma_index_list('") + rows.table
                            + "', 'installed') AS list WHERE \"unique\" AND NOT EXISTS"
                              " (SELECT 1 FROM pragma_index_info(list.name, 'installed')"
                              " AS info WHERE info.name = 'ProdID' COLLATE NOCASE)")
                   != "0";
    }
    return canDisplace;
}
