#pragma once

#include "Database.h"
#include "Tables.h"

#include <optional>
#include <vector>

// A value of the product's rows that the database does not have.
struct Difference {
    // The column of the product's row, or the key of a row of its configuration.
    std::string name;
    std::string expected;
    std::optional<std::string> found; // nothing if there is no such row
};

inline constexpr char REGISTERED[] = "registered";

// An application that was asked for.
struct Application {
    // Absolute and without ".", ".." and "//" if it can be registered, otherwise as given.
    std::string path;
    // Its record in the catalogue, or null if it cannot be registered.
    const ProductRecord* record = nullptr;
    // What becomes of it, in the words of its line, and why if that is a failure.
    std::string state = {};
    std::string reason = {};
    std::vector<Difference> differences = {};
    bool changed = false; // by this run
    // Whether nothing more will become of it.
    bool IsSettled() const { return state == REGISTERED || !reason.empty(); }
    const std::string& Number() const { return ValueOf(*record, "ProdId"); }
};

// Such as: AppPath is "/old" instead of "/new"; missing: bit, suite
std::string Sentence(const std::vector<Difference>& differences);

// The applications at these paths, in their order, or if there are none, the supported ones in
// /Applications, each in a folder of its own name or, failing that, in /Applications itself. Those
// that cannot be registered already have their state. productLine must have been filled.
std::vector<Application> ApplicationsAt(const std::vector<std::string>& given);

// The Extension Manager's database, with what is expected of the applications in temporary tables:
// the rows that Tamsel's own statements write, which name their tables without a schema. Throws a
// Failure with Status::NotTheDatabase if it has other tables or columns.
class Registration : public Database {
public:
    explicit Registration(std::vector<Application>& asked); // skips those without a record
    // Sets each application's differences; there are none if its rows are registered.
    void Look();
    // Writes what is missing of an application's rows, in a transaction. If that fails or is not
    // what arrives, or if rows of other products go, leaves all as it was and throws a Failure or a
    // DatabaseError; what failed may have ended the transaction, too.
    void Write(const Application& application);
    // Throws a Failure unless all rows but those written are what another connection sees.
    void RequireOthersUnchanged(Database& before);

private:
    std::vector<Application>& applications;
    // For each table: compares; and writes, but for the number of the product.
    std::vector<Statement> comparisons;
    std::vector<std::string> insertions;
    // The numbers of the products that were written, as a list in SQL.
    std::string written;
};
