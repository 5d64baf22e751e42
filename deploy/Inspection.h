#pragma once

#include "Applications.h"
#include "Backups.h"
#include "Database.h"

#include <string>
#include <string_view>
#include <vector>

// What is in the Extension Manager's database, compared with what Tamsel's own statements leave
// in an empty one in memory. productLine must have been filled.
class Inspection {
public:
    // Opens the database, or a copy of it, as how says: READONLY, at one moment for all
    // applications, or READWRITE, which first rolls back what a crashed program left. Throws a
    // DatabaseError if it cannot be read, or if the tables or their columns are not those that
    // Tamsel writes.
    Inspection(const std::string& path, std::string_view how, const Patience& patience);

    // The keys of the application's rows that are missing or have a different value; "the product's
    // row" stands for the row without a key. Empty means registered.
    std::vector<std::string> Missing(const Application& application);

    // Whether all rows of the application's product come from the backup or from Tamsel, so that
    // nothing is lost when the backup's rows take their place.
    bool IsExplained(const Application& application, const Backup& backup);

    // Ends a READONLY inspection, so that the database is free.
    void End() { memory.Execute("COMMIT"); }

    // Whether the tables have a key that rows of two products can share, so that one product's rows
    // can displace another's.
    bool CanDisplace();

private:
    // Makes memory hold exactly what Tamsel writes for the application.
    void Expect(const Application& application);

    Database memory;
    // Yield the names of the rows that are expected but missing.
    std::vector<std::unique_ptr<Statement>> unlike;
    // The columns of each table as texts, since those in memory have no types.
    std::vector<std::string> asTexts;
};
