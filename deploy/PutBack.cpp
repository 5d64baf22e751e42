#include "PutBack.h"

#include "Database.h"
#include "Places.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace {

const std::string PLACE = "_rowid_";

// One of the two tables, in the database (main) and in the backup (saved).
class RowsOfProduct {
public:
    RowsOfProduct(Database& database, const char* name, std::string number)
        : itsDatabase(database), itsName(name), itsNumber(std::move(number)) {
        Statement column(database,
                         "SELECT '\"' || replace(name, '\"', '\"\"') || '\"'"
                         " FROM pragma_table_info(?)",
                         name);
        int parameter = 1; // the first one is the row's place
        while (column.Next()) {
            const std::string text = column.Text(0);
            columns += ", " + text;
            parameters += ", ?" + std::to_string(++parameter);
            isSame += " AND theirs." + text + " IS ours." + text;
        }
    }

    // Whether the product's rows are those of the backup, in the same order, and no other rows are
    // lost.
    bool IsAsSaved() {
        const std::string where = itsName + " WHERE ProdID = ?";
        Statement rows(itsDatabase, "SELECT * FROM main." + where, itsNumber);
        Statement saved(itsDatabase, "SELECT * FROM saved." + where, itsNumber);
        return YieldSame(rows, saved) && Lost().empty();
    }

    // The rows of others that had to make way for the product's.
    std::vector<Row> Displaced() {
        std::vector<Row> displaced;
        for (Row& row : Lost()) {
            // A row that could come back right now, or not even without the product's rows, was
            // lost through somebody else's doing.
            itsDatabase.Execute("SAVEPOINT trial");
            const bool comesBack = Insert(row, false);
            itsDatabase.Execute("ROLLBACK TO trial");
            Remove();
            const bool comesBackWithout = Insert(row, false);
            itsDatabase.Execute("ROLLBACK TO trial; RELEASE trial");
            if (!comesBack && comesBackWithout) {
                displaced.push_back(std::move(row));
            }
        }
        return displaced;
    }

    void PutBack() {
        const std::vector<Row> displaced = Displaced();
        Remove();
        // Each in its old place, if the table has places and nobody has taken it.
        const auto comeBack = [this](const Row& row) {
            if (!Insert(row, true) && !Insert(row, false)) {
                throw std::runtime_error("another row is in the place of one of " + itsNumber);
            }
        };
        const std::vector<Row> own = Rows("ProdID = ?1");
        std::for_each(own.begin(), own.end(), comeBack);
        std::for_each(displaced.begin(), displaced.end(), comeBack);
    }

private:
    void Remove() {
        Statement(itsDatabase, "DELETE FROM main." + itsName + " WHERE ProdID = ?", itsNumber)
            .Next();
    }

    // Rows of the backup, each with its place before its columns.
    std::vector<Row> Rows(const std::string& where) {
        Statement rows(itsDatabase,
                       "SELECT " + (HasPlaces() ? PLACE : "NULL") + columns + " FROM saved."
                           + itsName + " AS ours WHERE " + where,
                       itsNumber);
        std::vector<Row> found;
        while (rows.Next()) {
            found.push_back(rows.Values());
        }
        return found;
    }

    // The rows of others that are in the backup and no longer in the database. Most rows are in
    // their old places, so these are looked at first.
    std::vector<Row> Lost() {
        const std::string absent =
            " AND NOT EXISTS (SELECT 1 FROM main." + itsName + " AS theirs WHERE ";
        const std::string place = "theirs." + PLACE + " = ours." + PLACE;
        return Rows("ProdID IS NOT ?1" + (HasPlaces() ? absent + place + isSame + ")" : "") + absent
                    + "1" + isSame + ")");
    }

    // Whether the rows of the table have places apart from their columns.
    bool HasPlaces() {
        try {
            const Statement places(itsDatabase, "SELECT " + PLACE + " FROM saved." + itsName);
            return true;
        } catch (const DatabaseError&) {
            return false;
        }
    }

    // Inserts a row, unless another one is in the way. Returns whether it did.
    bool Insert(const Row& row, bool inItsPlace) {
        const bool isPlaced = inItsPlace && HasPlaces();
        Statement(itsDatabase,
                  "INSERT OR IGNORE INTO main." + itsName + " ("
                      + (isPlaced ? PLACE + columns : columns.substr(2)) + ") VALUES ("
                      + (isPlaced ? "?1" + parameters : parameters.substr(2)) + ")",
                  row)
            .Next();
        return sqlite3_changes(itsDatabase.Handle()) == 1;
    }

    Database& itsDatabase;
    std::string itsName;
    std::string itsNumber;
    // For all columns, each with a comma or an AND before it.
    std::string columns;
    std::string parameters;
    std::string isSame;
};

// The database in a transaction in which no trigger fires, with the backup attached. Rolled back
// unless committed.
class Transaction : public Database {
public:
    Transaction(const std::string& saved, const Patience& patience)
        : Database(DATABASE, READWRITE, patience) {
        sqlite3_db_config(Handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr); // NOLINT
        Execute("PRAGMA temp_store = MEMORY; PRAGMA synchronous = FULL; PRAGMA fullfsync = ON");
        Attach(saved, IMMUTABLE, "saved");
        Execute("BEGIN");
    }

    // Keeps other writers out. BEGIN IMMEDIATE will not do: an old SQLite would want to write to
    // the backup as well, which is read-only.
    void LockForWriting() { Execute(std::string("DELETE FROM main.") + TABLES[0] + " WHERE 0"); }
};

} // namespace

void PutBackRows(const std::string& number, const std::string& saved, const Patience& patience) {
    {
        Transaction transaction(saved, patience);
        if (std::all_of(std::begin(TABLES), std::end(TABLES), [&](const char* name) {
                return RowsOfProduct(transaction, name, number).IsAsSaved();
            })) {
            return;
        }
    }
    Transaction transaction(saved, patience);
    transaction.LockForWriting();
    for (const char* name : TABLES) {
        RowsOfProduct(transaction, name, number).PutBack();
    }
    transaction.Execute("COMMIT");
}

bool HasDisplaced(const std::string& number, const std::string& saved, const Patience& patience) {
    Transaction transaction(saved, patience);
    transaction.LockForWriting();
    return std::any_of(std::begin(TABLES), std::end(TABLES), [&](const char* name) {
        return !RowsOfProduct(transaction, name, number).Displaced().empty();
    });
}
