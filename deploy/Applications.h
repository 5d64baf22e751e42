#pragma once

#include "Status.h"
#include "Tables.h"

#include <optional>
#include <string>
#include <vector>

// What becomes of an application: the words of its line, which Words gives. One that is arriving
// will be registered by a COMMIT.
enum class State : unsigned char {
    Unsettled,
    NotRegistered,
    WithoutFile,
    AnotherFile,
    Arriving,
    Registered,
    WouldRegister,
    Failed,
    NotFound,
    NotABundle,
    NotSupported,
    GivenTwice
};

// Such as "would register".
const char* Words(State state);

// A value of the product's rows that the database does not have.
struct Difference {
    // The column of the product's row, or the key of a row of its configuration.
    std::string name;
    std::string expected;
    // Nothing if there is no such row.
    std::optional<std::string> found;
};

// An application that was asked for, and what becomes of it.
struct Application {
    // Absolute and without ".", ".." and "//" if the application can be registered, otherwise as
    // given.
    std::string path;
    // Its record in the catalogue, or null if it cannot be registered.
    const ProductRecord* record = nullptr;
    State state = State::Unsettled;
    // What that means for the run, and why it failed, or empty.
    Status status = Status::Done;
    std::string reason;
    std::vector<Difference> differences;
    // Whether this run has registered it.
    bool changed = false;

    void Settle(State words, Status meaning, const std::string& why) {
        reason = why;
        state = words;
        status = meaning;
    }
    // Whether nothing more will become of it, unless it is only to be looked at.
    bool IsSettled() const { return state >= State::Registered; }
    const std::string& Number() const { return ValueOf(*record, "ProdId"); }
    // The folder that holds it, as Tamsel derives it from the path.
    std::string Folder() const { return path.substr(0, path.rfind('/')); }
};

// Such as: AppPath is "/old" instead of "/new"; missing: bit, suite
std::string Sentence(const std::vector<Difference>& differences);

// The applications at these paths, in their order. Those that cannot be registered already have
// their state. productLine must have been filled.
std::vector<Application> ApplicationsAt(const std::vector<std::string>& paths);

// The supported applications in /Applications, each in a folder of its own name or, failing that,
// in /Applications itself: older releases first, then by name. A second copy is logged.
std::vector<Application> InstalledApplications();
