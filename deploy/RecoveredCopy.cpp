#include "RecoveredCopy.h"

#include "Database.h"
#include "Files.h"
#include "Places.h"
#include "Report.h"

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <system_error>

namespace {

const std::string JOURNAL = "-journal";

// Reads the database, and recovers it if it may be written.
constexpr const char* LOOK = "PRAGMA schema_version";

// Whether a program has crashed while writing the database. A journal alone does not tell: a
// program that is at work has one, too.
bool MustBeRecovered(const Patience& patience) {
    if (KindOf(DATABASE + JOURNAL) != Kind::File) {
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

TemporaryFolder::TemporaryFolder() : path("/tmp/tamsel-deploy.XXXXXX") {
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "/tmp");
    }
}

TemporaryFolder::~TemporaryFolder() {
    OrLog([this] { RemoveFolder(path); });
}

std::unique_ptr<RecoveredCopy> RecoveredCopy::IfNeeded(const Patience& patience) {
    if (!MustBeRecovered(patience)) {
        return nullptr;
    }
    std::unique_ptr<RecoveredCopy> copy;
    std::exception_ptr failure;
    try {
        copy = std::make_unique<RecoveredCopy>(patience);
    } catch (...) {
        failure = std::current_exception();
    }
    if (!MustBeRecovered(patience)) {
        // Meanwhile another program has recovered the database. The copy may hold some of both.
        return nullptr;
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
    return copy;
}

RecoveredCopy::RecoveredCopy(const Patience& patience) : path(folder.Path() + "/" + DATABASENAME) {
    for (const std::string& side : {JOURNAL, std::string()}) {
        WriteFile(path + side, ReadFile(DATABASE + side));
    }
    Database(path, READWRITE, patience).Execute(LOOK);
}
