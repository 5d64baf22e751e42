#pragma once

#include "Applications.h"
#include "Backups.h"
#include "Database.h"

#include <string>
#include <vector>

// What is in the Extension Manager's database, held against what Tamsel's own statements leave in
// an empty one in memory.
class Inspection {
public:
    // Looks into the database as how says: mode=ro, or mode=rw, which first takes back what a
    // program left that broke down. Throws a DatabaseError where it cannot be read.
    Inspection(const char* how, const Patience& patience);

    // The keys of the application's rows that are missing, or beside which there is another value;
    // "the product's row" stands for the one without a key. Empty means registered. Throws a
    // DatabaseError, also where the tables or their columns are not those that Tamsel writes.
    std::vector<std::string> Missing(const Application& application);

    // Whether all rows of the application's product come from the backup or from Tamsel, so that
    // nothing is lost when the backup's rows take their place.
    bool IsExplained(const Application& application, const Backup& backup);

private:
    // Makes the memory hold just what a statement of Tamsel's writes. Returns the table's name.
    std::string Expect(const std::string& statement);

    Database memory;
};
