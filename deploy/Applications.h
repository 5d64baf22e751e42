#pragma once

#include "PathUtils.h"
#include "Tables.h"

#include <optional>
#include <vector>

inline constexpr char REGISTERED[] = "registered";

// A value of the product's rows that the database does not have.
struct Difference {
    // The column of the product's row, or the key of a row of its configuration.
    std::string name;
    std::string expected;
    // Nothing if there is no such row.
    std::optional<std::string> found;
};

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
    // Whether this run has registered it.
    bool changed = false;

    // Whether nothing more will become of it.
    bool IsSettled() const { return state == REGISTERED || !reason.empty(); }
    const std::string& Number() const { return ValueOf(*record, "ProdId"); }
};

// Such as: AppPath is "/old" instead of "/new"; missing: bit, suite
std::string Sentence(const std::vector<Difference>& differences);

// The applications at these paths, in their order. Those that cannot be registered already have
// their state. productLine must have been filled.
std::vector<Application> ApplicationsAt(const std::vector<std::string>& paths);

// The supported applications in /Applications, each in a folder of its own name or, failing that,
// in /Applications itself: older releases first, then by name. A second copy is logged.
std::vector<Application> InstalledApplications();
