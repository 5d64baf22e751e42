#include "RecoveredCopy.h"

#include "Database.h"
#include "Files.h"
#include "Places.h"
#include "Report.h"
#include "Restoring.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <system_error>
#include <unistd.h> // mkdtemp on macOS

namespace {

// Reads the database, and recovers it if it may be written.
constexpr const char* LOOK = "PRAGMA schema_version";

// Whether a program has crashed while writing the database, or a run while replacing it. A journal
// alone does not tell: a program that is at work has one, too.
bool MustBeRecovered(const Patience& patience) {
    const auto isElsewhere = [](const std::string& side) {
        return RightfulFile(side) != DATABASE + side;
    };
    if (std::any_of(std::begin(SIDEFILES), std::end(SIDEFILES), isElsewhere)) {
        return true;
    }
    if (KindOf(DATABASE + "-journal") != Kind::File) {
        return false;
    }
    try {
        Database(DATABASE, READONLY, patience).Execute(LOOK);
        return false;
    } catch (const DatabaseError& error) {
        return error.Code() == SQLITE_READONLY;
    }
}

} // namespace

RecoveredCopy::RecoveredCopy(const std::string& below) : folder(below + "/tamsel-deploy.XXXXXX") {
    if (mkdtemp(folder.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), below);
    }
}

RecoveredCopy::RecoveredCopy(const std::string& below, const Patience& patience)
    : RecoveredCopy(below) {
    for (const std::string side : {"-journal", "-wal"}) {
        if (const std::string file = RightfulFile(side); KindOf(file) == Kind::File) {
            WriteFile(Path() + side, ReadFile(file));
        }
    }
    WriteFile(Path(), ReadFile(DATABASE));
    Database(Path(), READWRITE, patience).Execute(LOOK);
}

RecoveredCopy::~RecoveredCopy() {
    OrLog([this] { RemoveFolder(folder); });
}

std::string RecoveredCopy::Path() const {
    return folder + "/" + DATABASENAME;
}

std::unique_ptr<RecoveredCopy> RecoveredCopy::IfNeeded(const std::string& below,
                                                       const Patience& patience) {
    std::unique_ptr<RecoveredCopy> copy;
    if (MustBeRecovered(patience)) {
        try {
            copy = std::make_unique<RecoveredCopy>(below, patience);
        } catch (...) {
            // Perhaps only another program was quicker.
            if (MustBeRecovered(patience)) {
                throw;
            }
        }
    }
    // If another program has recovered the database meanwhile, the copy may hold some of both.
    return copy && MustBeRecovered(patience) ? std::move(copy) : nullptr;
}
