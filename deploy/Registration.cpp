#include "Registration.h"

#include "Files.h"
#include "SQLUtils.h"

#include <algorithm>

namespace {

// A table that Tamsel writes. e stands for what is expected, i for what is in the database.
struct Written {
    std::string name;
    std::string (*statement)(const ProductRecord&, const std::string&);
    // Which rows belong together.
    std::string key;
    // The first column to compare, and the one whose value names a difference; if there is none,
    // that is the name of the column itself.
    int first;
    std::string names;
};
const Written TABLES[] = {
    {"Tb_ProductInfoV2", SQLUtils::ProductInfoStatement, "e.ProdID = i.ProdID", 0, ""},
    {"Tb_XManConfig", SQLUtils::XManConfigStatement,
     "e.ProdID = i.ProdID AND e.KeyName = i.KeyName", 2, "e.KeyName"},
};

// The contents of an SQL string literal.
std::string Literal(const std::string& text) {
    std::string literal;
    for (const char byte : text) {
        literal += byte == '\'' ? "''" : std::string(1, byte);
    }
    return literal;
}

} // namespace

Registration::Registration(std::vector<Application>& asked)
    : Database(DATABASE, READWRITE), applications(asked) {
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
                const std::string folder = Literal(GetParentDirectory(application.path));
                Execute(table.statement(*application.record, folder));
            }
        }
        std::string values;
        std::string areSame = "1";
        Statement columns(*this, "SELECT * FROM temp." + table.name);
        for (int i = table.first; i < columns.Columns(); ++i) {
            const std::string name = columns.Name(i);
            const std::string isSame = "e." + name + " IS i." + name;
            values += ", " + (table.names.empty() ? "'" + name + "'" : table.names);
            values += ", e." + name + ", i." + name + ", " + isSame;
            areSame += " AND " + isSame;
        }
        const std::string both = " FROM temp." + table.name + " AS e";
        const std::string other = "main." + table.name + " AS i";
        try {
            comparisons.emplace_back(*this, "SELECT e.ProdID, i.ProdID" + values + both
                                                + " LEFT JOIN " + other + " ON " + table.key);
        } catch (const DatabaseError& error) {
            Require(error.code != SQLITE_ERROR, Status::NotTheDatabase,
                    "the database has no table " + list + MENDING);
            throw;
        }
        // If the table allows several rows with the same key, each of them must match.
        insertions.push_back("INSERT OR REPLACE INTO main." + list + " SELECT *" + both
                             + " WHERE (SELECT MIN(" + areSame + ") FROM " + other + " WHERE "
                             + table.key + ") IS NOT 1 AND e.ProdID = ");
    }
}

void Registration::Look() {
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
            // Name, expected, found, and whether they are the same. Without a row, the first value
            // stands for all.
            for (int i = 2; i < (isThere ? rows.Columns() : 6); i += 4) {
                if (rows.Text(i + 3) != "1") {
                    const auto found = isThere ? std::optional(rows.Text(i + 2)) : std::nullopt;
                    application->differences.push_back({rows.Text(i), rows.Text(i + 1), found});
                }
            }
        }
    }
}

std::string Registration::CountOthers(const Application& application) {
    std::string sum = "0";
    for (const Written& table : TABLES) {
        sum += " + (SELECT COUNT(*) FROM main." + table.name + " WHERE ProdID IS NOT '"
               + application.Number() + "')";
    }
    return Value("SELECT " + sum);
}

void Registration::Write(const Application& application) {
    const std::string number = "'" + application.Number() + "'";
    const std::string others = CountOthers(application);
    Execute("SAVEPOINT application");
    try {
        for (const std::string& insertion : insertions) {
            Execute(insertion + number);
        }
        Look();
        Require(application.differences.empty(), Status::NotRegistered,
                "not what was written has arrived: " + Sentence(application.differences));
        Require(std::stoll(CountOthers(application)) >= std::stoll(others), Status::NotRegistered,
                "rows of other products had to go");
        Execute("RELEASE application");
        written += (written.empty() ? "" : ", ") + number;
    } catch (...) {
        if (IsInTransaction()) {
            Execute("ROLLBACK TO application; RELEASE application");
        }
        throw;
    }
}

void Registration::RequireOthersUnchanged(Database& before) {
    for (const Written& table : TABLES) {
        const std::string query = "SELECT * FROM main." + table.name
                                  + " WHERE ProdID IS NULL OR ProdID NOT IN (" + written + ")";
        Statement now(*this, query);
        Statement then(before, query);
        for (bool isThere = true; isThere;) {
            isThere = now.Next();
            Require(isThere == then.Next() && (!isThere || now.IsSameRow(then)),
                    Status::NotRegistered, "rows of other products would be changed");
        }
    }
}
