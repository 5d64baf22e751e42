#include "Comparison.h"

#include "Database.h"
#include "Files.h"
#include "Places.h"

namespace {

bool YieldSame(Database& one, Database& other, const std::string& query) {
    Statement rows(one, query);
    Statement others(other, query);
    return ::YieldSame(rows, others);
}

bool IsSameDatabase(const std::string& one, const std::string& other, const Patience& patience) {
    if (KindOf(one) != Kind::File || KindOf(other) != Kind::File) {
        return false;
    }
    try {
        Database first(one, IMMUTABLE, patience);
        Database second(other, IMMUTABLE, patience);
        return HoldSame(first, second);
    } catch (const DatabaseError&) {
        return false;
    }
}

} // namespace

bool IsSameState(const std::string& one, const std::string& other, const Patience& patience) {
    const std::string first = one + "/" + DATABASENAME;
    const std::string second = other + "/" + DATABASENAME;
    for (const std::string side : SIDEFILES) {
        if (!AreSame(first + side, second + side)) {
            return false;
        }
    }
    return AreSame(one + "/" + FILENAME, other + "/" + FILENAME)
           && (IsSameDatabase(first, second, patience) || AreSame(first, second));
}

bool HoldSame(Database& one, Database& other) {
    for (const char* query :
         {"PRAGMA user_version", "PRAGMA application_id",
          "SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY type, name"}) {
        if (!YieldSame(one, other, query)) {
            return false;
        }
    }
    Statement tables(one, "SELECT '\"' || replace(name, '\"', '\"\"') || '\"' FROM sqlite_master"
                          " WHERE type = 'table'");
    while (tables.Next()) {
        if (!YieldSame(one, other, "SELECT * FROM " + tables.Text(0))) {
            return false;
        }
    }
    return true;
}
