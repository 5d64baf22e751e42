#include "Registration.h"

#include "Files.h"
#include "SQLUtils.h"

#include <algorithm>
#include <sstream>

namespace {

// The absolute path, with links as they are; empty if the working folder is gone.
std::string Normalised(const std::string& path) {
    const std::string folder = path.rfind('/', 0) == 0 ? "/" : Resolved(".");
    if (folder.empty()) {
        return {};
    }
    std::istringstream rest(folder + "/" + path);
    std::string result;
    std::string name;
    while (std::getline(rest, name, '/')) {
        if (name == "..") {
            result = GetParentDirectory(result);
        } else if (!name.empty() && name != ".") {
            result += "/" + name;
        }
    }
    return result.empty() ? "/" : result;
}

bool IsBundle(const std::string& path) {
    return path.substr(path.rfind('.') + 1) == "app"
           && KindOf(Resolved(path + "/Contents/Info.plist")) == S_IFREG;
}

Application ApplicationAt(const std::string& given) {
    const std::string path = Normalised(given);
    const auto product = productLine.find(GetFileName(path));
    if (given.empty() || KindOf(Resolved(path)) != S_IFDIR) {
        return {given, nullptr, "not found", "there is no such folder"};
    }
    if (!IsBundle(path)) {
        return {given, nullptr, "not an application bundle",
                "not an application: the name does not end in .app, or there is no"
                " Contents/Info.plist in it"};
    }
    if (product == productLine.end()) {
        return {given, nullptr, "not supported", "no application of this name is supported"};
    }
    return {path, &product->second};
}

// In the order of their names. A second copy is left out.
std::vector<std::string> InstalledApplications() {
    std::vector<std::string> paths;
    for (const auto& [name, record] : productLine) {
        const std::string inFolder = "/Applications/" + name + "/" + name + ".app";
        const std::string alone = "/Applications/" + name + ".app";
        const bool isInFolder = IsBundle(inFolder);
        const bool isAlone = IsBundle(alone);
        if (isInFolder || isAlone) {
            paths.push_back(isInFolder ? inFolder : alone);
        }
        if (isInFolder && isAlone) {
            Log("left out: " + alone + ", since there is " + inFolder);
        }
    }
    return paths;
}

// A table that Tamsel writes. e stands for what is expected, i for what is in the database.
struct Written {
    std::string name;
    std::string (*statement)(const ProductRecord&, const std::string&);
    std::string key; // which rows belong together
    // The first column to compare, and the one whose value names a difference, or "" for its name.
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

std::string Sentence(const std::vector<Difference>& differences) {
    std::string sentence;
    std::string missing;
    for (const auto& [name, expected, found] : differences) {
        if (found) {
            sentence += name + " is \"" + *found + "\" instead of \"" + expected + "\"; ";
        } else {
            missing += (missing.empty() ? "missing: " : ", ") + name;
        }
    }
    return missing.empty() ? sentence.substr(0, sentence.size() - 2) : sentence + missing;
}

std::vector<Application> ApplicationsAt(const std::vector<std::string>& given) {
    const std::vector<std::string> paths = given.empty() ? InstalledApplications() : given;
    std::vector<Application> found;
    std::transform(paths.begin(), paths.end(), std::back_inserter(found), ApplicationAt);
    std::vector<Application> applications = found;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        for (std::size_t j = 0; j < paths.size(); ++j) {
            if (i != j && found[i].record != nullptr && found[i].record == found[j].record) {
                // Only one copy of a product can be registered, and nobody can tell which is meant.
                applications[i] = {paths[i], nullptr, "given twice",
                                   "only one of this and " + paths[j] + " can be registered"};
            }
        }
    }
    return applications;
}

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
                    "the database has no table " + list + "; start the Extension Manager once, or "
                        + MENDING);
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
            // There is one: what is expected was written for these applications.
            const auto application = std::find_if(
                applications.begin(), applications.end(), [&rows](const Application& one) {
                    return one.record != nullptr && one.Number() == rows.Text(0);
                });
            const bool isThere = !rows.IsNull(1);
            // Name, expected, found, whether they are the same. If no row is there, one stands for
            // all.
            for (int i = 2; i < (isThere ? rows.Columns() : 6); i += 4) {
                if (rows.Text(i + 3) != "1") {
                    const auto found = isThere ? std::optional(rows.Text(i + 2)) : std::nullopt;
                    application->differences.push_back({rows.Text(i), rows.Text(i + 1), found});
                }
            }
        }
    }
}

void Registration::Write(const Application& application) {
    const std::string number = "'" + application.Number() + "'";
    std::string others = "SELECT 0";
    for (const Written& table : TABLES) {
        others +=
            " + (SELECT COUNT(*) FROM main." + table.name + " WHERE ProdID IS NOT " + number + ")";
    }
    const std::string before = Value(others);
    Execute("SAVEPOINT application");
    try {
        for (const std::string& insertion : insertions) {
            Execute(insertion + number);
        }
        Look();
        Require(application.differences.empty(), Status::NotRegistered,
                "not what was written has arrived: " + Sentence(application.differences));
        Require(std::stoll(Value(others)) >= std::stoll(before), Status::NotRegistered,
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
