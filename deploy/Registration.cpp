#include "Registration.h"

#include "Places.h"
#include "SQLUtils.h"

#include <algorithm>

namespace {

// In a row of a comparison, the first value is in this column, and each has as many columns: its
// name, what is expected, what is found, and whether the two are the same.
constexpr int FIRST = 2;
constexpr int VALUES = 4;

using MakeStatement = std::string (*)(const ProductRecord&, const std::string&);

// A table that Tamsel writes. e stands for what is expected, i for what is in the database.
struct Written {
    const char* name;
    MakeStatement statement;
    // Which rows belong together.
    const char* key;
    // The column whose value names a difference; if none, that is the name of the column itself.
    const char* names;
};
constexpr Written TABLES[] = {
    {"Tb_ProductInfoV2", SQLUtils::ProductInfoStatement, "e.ProdID = i.ProdID", nullptr},
    {"Tb_XManConfig", SQLUtils::XManConfigStatement,
     "e.ProdID = i.ProdID AND e.KeyName = i.KeyName", "e.KeyName"},
};

std::string Joined(const std::vector<std::string>& parts, const char* between) {
    std::string joined;
    for (const std::string& part : parts) {
        joined += (joined.empty() ? "" : between) + part;
    }
    return joined;
}

// The contents of an SQL string literal.
std::string Literal(const std::string& text) {
    std::string literal;
    for (const char byte : text) {
        literal += byte == '\'' ? "''" : std::string(1, byte);
    }
    return literal;
}

} // namespace

Registration::Registration(const std::vector<Application>& applications, Patience& patience)
    : database(DATABASE, READWRITE, patience) {
    // Nothing gets into the database's file before COMMIT, so others see what was there.
    Execute("PRAGMA temp_store = MEMORY; PRAGMA cache_spill = OFF;"
            "PRAGMA synchronous = EXTRA; PRAGMA fullfsync = ON");
    for (const Written& table : TABLES) {
        // INSERT OR REPLACE INTO table (columns) VALUES ...
        const std::string statement = table.statement(productLine.begin()->second, "");
        const auto begin = statement.find(table.name);
        const std::string list = statement.substr(begin, statement.find(')') + 1 - begin);
        Execute("CREATE TEMP TABLE " + list);
        for (const Application& application : applications) {
            if (application.record != nullptr) {
                Execute(table.statement(*application.record, Literal(application.Folder())));
            }
        }
        std::vector<std::string> same;
        std::string values;
        Statement columns(database, std::string("SELECT * FROM temp.") + table.name);
        for (int i = table.names == nullptr ? 0 : columns.Columns() - 1; i < columns.Columns();
             ++i) {
            const std::string column = columns.Name(i);
            same.push_back("e." + column + " IS i." + column);
            values += ", " + (table.names == nullptr ? "'" + column + "'" : table.names);
            values += ", e." + column + ", i." + column + ", " + same.back();
        }
        const std::string both = std::string(" FROM temp.") + table.name + " AS e";
        const std::string other = std::string("main.") + table.name + " AS i";
        try {
            comparisons.emplace_back(database, "SELECT e.ProdID, i.ProdID" + values + both
                                                   + " LEFT JOIN " + other + " ON " + table.key);
        } catch (const DatabaseError& error) {
            if (error.Code() != SQLITE_ERROR) {
                throw;
            }
            throw Failure(Status::NotTheDatabase, "the database has no table " + list + MENDING);
        }
        // If the table allows several rows with the same key, each of them must match.
        insertions.push_back("INSERT OR REPLACE INTO main." + list + " SELECT *" + both
                             + " WHERE (SELECT MIN(" + Joined(same, " AND ") + ") FROM " + other
                             + " WHERE " + table.key + ") IS NOT 1 AND e.ProdID = ");
    }
}

void Registration::Look(std::vector<Application>& applications) {
    for (Application& application : applications) {
        application.differences.clear();
    }
    for (Statement& rows : comparisons) {
        while (rows.Next()) {
            const auto application = std::find_if(
                applications.begin(), applications.end(), [&rows](const Application& one) {
                    return one.record != nullptr && one.Number() == rows.Text(0);
                });
            const bool isThere = !rows.IsNull(1);
            // Without a row, the first value stands for all.
            for (int i = FIRST; i < (isThere ? rows.Columns() : FIRST + 1); i += VALUES) {
                if (rows.Text(i + 3) != "1") {
                    application->differences.push_back({rows.Text(i), rows.Text(i + 1), {}});
                    if (isThere) {
                        application->differences.back().found = rows.Text(i + 2);
                    }
                }
            }
        }
    }
}

std::string Registration::CountOthers(const Application& application) {
    std::string sum = "0";
    for (const Written& table : TABLES) {
        sum += std::string(" + (SELECT COUNT(*) FROM main.") + table.name + " WHERE ProdID IS NOT '"
               + application.Number() + "')";
    }
    return database.Value("SELECT " + sum);
}

void Registration::Write(const Application& application, std::vector<Application>& applications) {
    const std::string others = CountOthers(application);
    Execute("SAVEPOINT application");
    try {
        for (const std::string& insertion : insertions) {
            Execute(insertion + "'" + application.Number() + "'");
        }
        Look(applications);
        if (!application.differences.empty()) {
            throw Failure(Status::NotRegistered,
                          "not what was written has arrived: " + Sentence(application.differences));
        }
        if (std::stoll(CountOthers(application)) < std::stoll(others)) {
            throw Failure(Status::NotRegistered, "rows of other products had to go");
        }
        Execute("RELEASE application");
    } catch (...) {
        if (database.IsInTransaction()) {
            Execute("ROLLBACK TO application; RELEASE application");
        }
        throw;
    }
}

void Registration::RequireOthersUnchanged(Database& before,
                                          const std::vector<std::string>& numbers) {
    for (const Written& table : TABLES) {
        const std::string query = std::string("SELECT * FROM main.") + table.name
                                  + " WHERE ProdID IS NULL OR ProdID NOT IN ('"
                                  + Joined(numbers, "', '") + "')";
        Statement now(database, query);
        Statement then(before, query);
        for (bool isThere = true; isThere;) {
            isThere = now.Next();
            if (isThere != then.Next() || (isThere && !now.IsSameRow(then))) {
                throw Failure(Status::NotRegistered, "rows of other products would be changed");
            }
        }
    }
}
