#include "Inspection.h"

#include "Places.h"
#include "SQLUtils.h"

#include <algorithm>
#include <iterator>
#include <sstream>

namespace {

// The rows that Tamsel writes into a table: what tells them apart, and what names one.
struct Rows {
    const char* table;
    const char* key;
    const char* name;
};
constexpr Rows ROWS[] = {
    {TABLES[0], "e.ProdID = i.ProdID", "'the product''s row'"},
    {TABLES[1], "e.ProdID = i.ProdID AND e.KeyName = i.KeyName", "e.KeyName"},
};

// The statement that makes a table with exactly the columns that one of Tamsel's statements names:
// INSERT OR REPLACE INTO table (columns) VALUES ...
std::string Creation(const std::string& statement) {
    constexpr std::string_view BEFORE = "INSERT OR REPLACE INTO";
    return "CREATE TABLE"
           + statement.substr(BEFORE.size(), statement.find(" VALUES") - BEFORE.size()) + ";";
}

// The columns that a statement names, each as a text with # for its name, and between them another
// text.
std::string Columns(const std::string& statement, const std::string& text,
                    const std::string& between) {
    const auto begin = statement.find('(') + 1;
    std::istringstream names(statement.substr(begin, statement.find(')') - begin));
    std::string columns;
    for (std::string name; std::getline(names >> std::ws, name, ',');) {
        columns += columns.empty() ? "" : between;
        for (const char byte : text) {
            columns += byte == '#' ? name : std::string(1, byte);
        }
    }
    return columns;
}

} // namespace

Inspection::Inspection(const std::string& path, std::string_view how, const Patience& patience)
    : memory(":memory:", INMEMORY, patience) {
    const ProductRecord& any = productLine.begin()->second;
    const std::string statements[] = {SQLUtils::ProductInfoStatement(any, ""),
                                      SQLUtils::XManConfigStatement(any, "")};
    memory.Execute(Creation(statements[0]) + Creation(statements[1]));
    memory.Attach(path, how, "installed");
    if (how == READONLY) {
        memory.Execute("BEGIN");
    }
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string table = ROWS[i].table;
        // If the table allows several rows with the same key, each of them must match.
        unlike.push_back(std::make_unique<Statement>(
            memory, std::string("SELECT ") + ROWS[i].name + " FROM main." + table
                        + " AS e WHERE (SELECT MIN(" + Columns(statements[i], "e.# IS i.#", " AND ")
                        + ") FROM installed." + table + " AS i WHERE " + ROWS[i].key
                        + ") IS NOT 1"));
        asTexts.push_back(Columns(statements[i], "CAST(t.# AS TEXT)", ", "));
    }
}

void Inspection::Expect(const Application& application) {
    for (const Rows& rows : ROWS) {
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
        try {
            while (rows->Next()) {
                missing.push_back(rows->Text(0));
            }
        } catch (...) {
            // A running statement would keep the database from being written.
            rows->Reset();
            throw;
        }
    }
    return missing;
}

bool Inspection::IsExplained(const Application& application, const Backup& backup) {
    Expect(application);
    memory.Attach(backup.Database(), IMMUTABLE, "saved");
    bool explained = true;
    for (std::size_t i = 0; i < 2; ++i) {
        const std::string table = ROWS[i].table;
        const std::string select = "SELECT " + asTexts[i] + " FROM ";
        const std::string where =
            table + " AS t WHERE t.ProdID = (SELECT ProdID FROM main." + table + ")";
        explained &= memory.Value("SELECT COUNT(*) FROM (" + select + "installed." + where
                                  + " EXCEPT " + select + "saved." + where + " EXCEPT " + select
                                  + "main." + table + " AS t)")
                     == "0";
    }
    memory.Execute("DETACH saved");
    return explained;
}

bool Inspection::CanDisplace() {
    return std::any_of(std::begin(ROWS), std::end(ROWS), [this](const Rows& rows) {
        const std::string table = "('" + std::string(rows.table) + "', 'installed')";
        // A unique index without ProdID, or a primary key of one other column, which needs none.
        return memory.Value("SELECT COUNT(*) FROM pragma_index_list" + table
                            + " AS list WHERE \"unique\" AND NOT EXISTS"
                              " (SELECT 1 FROM pragma_index_info(list.name, 'installed')"
                              " AS info WHERE info.name = 'ProdID' COLLATE NOCASE)")
                   != "0"
               || memory.Value("SELECT COUNT(*) = 1 AND MAX(name) <> 'ProdID' COLLATE NOCASE"
                               " FROM pragma_table_info"
                               + table + " WHERE pk")
                      == "1";
    });
}
