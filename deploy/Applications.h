#pragma once

#include "Status.h"
#include "Tables.h"

#include <string>
#include <vector>

// An application that was asked for, and what becomes of it.
struct Application {
    // Absolute and without ".", ".." and "//" if the application can be registered, otherwise as
    // given.
    std::string path;
    // Its record in the catalogue, or null if it cannot be registered.
    const ProductRecord* record = nullptr;
    // The words of its line, before the path; empty until settled.
    std::string state;
    // What that means for the run, and why it failed.
    Status status = Status::Done;
    std::string reason;
    // Which of its keys are missing from the database or have a different value.
    std::vector<std::string> missing;

    void Settle(const std::string& words, Status meaning = Status::Done,
                const std::string& why = "") {
        state = words;
        status = meaning;
        reason = why;
    }
    // The number of its product.
    const std::string& Number() const { return ValueOf(*record, "ProdId"); }

    bool IsRegistered() const { return state == "registered"; }

    // The folder that holds it, as Tamsel derives it from the path.
    std::string Folder() const { return path.substr(0, path.rfind('/')); }
};

// The applications at these paths, in their order. Those that cannot be registered already have
// their state. productLine must have been filled.
std::vector<Application> ApplicationsAt(const std::vector<std::string>& paths);

// The supported applications in /Applications, each in a folder of its own name or, failing that,
// in /Applications itself: older releases first, then by name.
std::vector<Application> InstalledApplications();

// The application whose registration at this path was begun; it may be gone by now. Its record is
// null if the catalogue does not have it.
Application ApplicationOnceAt(const std::string& path);
