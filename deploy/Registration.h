#pragma once

#include "Applications.h"
#include "Database.h"

// The Extension Manager's database, with what is expected of the applications in temporary tables:
// the rows that Tamsel's own statements write, which name their tables without a schema. Throws a
// Failure with Status::NotTheDatabase if the tables or their columns are not those of the
// statements.
class Registration : public Database {
public:
    // Applications without a record are left alone.
    explicit Registration(std::vector<Application>& asked);
    // Sets each application's differences; there are none if its rows are registered.
    void Look();
    // Writes what is missing of an application's rows, in a transaction. If that fails or is not
    // what arrives, or if rows of other products go, leaves all as it was and throws a Failure or a
    // DatabaseError; what failed may have ended the transaction, too.
    void Write(const Application& application);
    // Throws a Failure unless all rows are what another connection sees, apart from those of the
    // products that were written.
    void RequireOthersUnchanged(Database& before);

private:
    std::string CountOthers(const Application& application);

    std::vector<Application>& applications;
    // For each table: compares; and writes, but for the number of the product.
    std::vector<Statement> comparisons;
    std::vector<std::string> insertions;
    // The numbers of the products that were written, as a list in SQL.
    std::string written;
};
