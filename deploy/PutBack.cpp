#include "PutBack.h"

#include "Database.h"
#include "Places.h"

#include <vector>

namespace {

constexpr const char* TABLES[] = {"Tb_ProductInfoV2", "Tb_XManConfig"};

// One of the two tables, in the database (main) and in the backup (saved).
class RowsOfProduct {
public:
    RowsOfProduct(Database& database, const char* name, std::string number)
        : itsDatabase(database), itsName(name), itsNumber(std::move(number)) {
        Statement column(database,
                         "SELECT '\"' || replace(name, '\"', '\"\"') || '\"'"
                         " FROM pragma_table_info(?)",
                         {name});
        while (column.Next()) {
            columns += (columns.empty() ? "" : ", ") + column.Text(0);
            parameters += parameters.empty() ? "?" : ", ?";
        }
    }

    // The rows of others that had to go for the product's.
    std::vector<Row> Displaced() {
        std::vector<Row> displaced;
        for (Row& row : Lost()) {
            // One that could come back right now has been removed by somebody else.
            itsDatabase.Execute("SAVEPOINT trial");
            const bool comesBack = Insert(row);
            itsDatabase.Execute("ROLLBACK TO trial; RELEASE trial");
            if (!comesBack) {
                displaced.push_back(std::move(row));
            }
        }
        return displaced;
    }

    // Whether the product's rows are those of the backup, in the same order.
    bool IsAsSaved() {
        const std::string where = itsName + " WHERE ProdID = ?";
        Statement rows(itsDatabase, "SELECT * FROM main." + where, {itsNumber});
        Statement saved(itsDatabase, "SELECT * FROM saved." + where, {itsNumber});
        return YieldSame(rows, saved) && Displaced().empty();
    }

    void PutBack() {
        const std::vector<Row> displaced = Displaced();
        Statement(itsDatabase, "DELETE FROM main." + itsName + " WHERE ProdID = ?", {itsNumber})
            .Next();
        InsertSaved();
        for (const Row& row : displaced) {
            Insert(row);
        }
    }

private:
    // The rows of others that are in the backup and no longer in the database.
    std::vector<Row> Lost() {
        const std::string select = "SELECT " + columns + " FROM ";
        const std::string where = itsName + " WHERE ProdID IS NOT ?1";
        Statement rows(itsDatabase,
                       select + "saved." + where + " EXCEPT " + select + "main." + where,
                       {itsNumber});
        std::vector<Row> lost;
        while (rows.Next()) {
            lost.push_back(rows.Values());
        }
        return lost;
    }

    // Inserts a row, unless another one is in its place.
    bool Insert(const Row& row) {
        const std::string before = itsDatabase.Value("SELECT total_changes()");
        Statement(itsDatabase,
                  "INSERT OR IGNORE INTO main." + itsName + " (" + columns + ") VALUES ("
                      + parameters + ")",
                  row)
            .Next();
        return itsDatabase.Value("SELECT total_changes()") != before;
    }

    // In their old places, where the table has places and nobody has taken them.
    void InsertSaved() {
        try {
            InsertSaved("_rowid_, " + columns);
        } catch (const DatabaseError& error) {
            if (error.Code() != SQLITE_ERROR && error.Code() != SQLITE_CONSTRAINT) {
                throw;
            }
            InsertSaved(columns);
        }
    }

    void InsertSaved(const std::string& fields) {
        Statement(itsDatabase,
                  "INSERT INTO main." + itsName + " (" + fields + ") SELECT " + fields
                      + " FROM saved." + itsName + " WHERE ProdID = ?",
                  {itsNumber})
            .Next();
    }

    Database& itsDatabase;
    std::string itsName;
    std::string itsNumber;
    std::string columns;
    std::string parameters;
};

// A transaction in the database, in which no trigger fires, with the backup beside it. It is given
// up unless it is committed.
class Transaction {
public:
    Transaction(const char* begin, const std::string& saved, const Patience& patience)
        : database(DATABASE, READWRITE, patience) {
        sqlite3_db_config(database.Handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr); // NOLINT
        database.Execute("PRAGMA temp_store = MEMORY; PRAGMA fullfsync = ON");
        database.Attach(saved, IMMUTABLE, "saved");
        database.Execute(begin);
    }
    Database& Get() { return database; }

private:
    Database database;
};

} // namespace

void PutBackRows(const std::string& number, const std::string& saved, const Patience& patience) {
    bool isAsSaved = true;
    {
        Transaction transaction("BEGIN", saved, patience);
        for (const char* name : TABLES) {
            isAsSaved = isAsSaved && RowsOfProduct(transaction.Get(), name, number).IsAsSaved();
        }
    }
    if (!isAsSaved) {
        Transaction transaction("BEGIN IMMEDIATE", saved, patience);
        for (const char* name : TABLES) {
            RowsOfProduct(transaction.Get(), name, number).PutBack();
        }
        transaction.Get().Execute("COMMIT");
    }
}

bool HasDisplaced(const std::string& number, const std::string& saved, const Patience& patience) {
    // It writes only where it has to try something out.
    Transaction transaction("BEGIN", saved, patience);
    bool displaced = false;
    for (const char* name : TABLES) {
        displaced =
            displaced || !RowsOfProduct(transaction.Get(), name, number).Displaced().empty();
    }
    return displaced;
}
