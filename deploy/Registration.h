#pragma once

#include "Applications.h"
#include "Database.h"

#include <string>
#include <vector>

// The rows of applications, as Tamsel's own statements write them, and those in the Extension
// Manager's database. The statements name their tables without a schema, so they fill temporary
// tables of the same names. These are what is expected, and what is written.
//
// Throws what Database throws, and a Failure with Status::NotTheDatabase if the tables or their
// columns are not those of the statements.
class Registration {
public:
    // Opens the database. Applications without a record are left alone. patience must outlive this.
    Registration(const std::vector<Application>& applications, Patience& patience);

    // Sets each application's differences; there are none if its rows are registered.
    void Look(std::vector<Application>& applications);

    // Writes what is missing of an application's rows, in a transaction. If that fails or is not
    // what arrives, or if rows of other products go, leaves all as it was and throws a Failure or a
    // DatabaseError; what failed may have ended the transaction, too.
    void Write(const Application& application, std::vector<Application>& applications);

    // Throws a Failure unless all rows are what another connection sees, apart from those of the
    // products with these numbers.
    void RequireOthersUnchanged(Database& before, const std::vector<std::string>& numbers);

    Database& GetDatabase() { return database; }
    void Execute(const std::string& sql) { database.Execute(sql); }

private:
    std::string CountOthers(const Application& application);

    Database database;
    // For each table: compares; and writes, but for the number of the product.
    std::vector<Statement> comparisons;
    std::vector<std::string> insertions;
};
