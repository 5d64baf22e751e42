#pragma once

#include <stdexcept>
#include <string>
#include <utility>

// How a run of tamsel-deploy ended: its exit status. Help() has the words for each.
enum class Status : unsigned char {
    Done,
    NotRegistered,
    WrongUsage,
    NotRoot,
    ManagerRunning,
    NoDatabase,
    NoApplication,
    NoBackup,
    NoFile,
    NotRestored,
    Incomplete,
    AnotherRun,
    DatabaseInUse,
    NotTheDatabase,
    NotWritten
};

// What ends a run, or the registration of an application: a status, and a sentence for the log.
class Failure : public std::runtime_error {
public:
    Failure(Status status, const std::string& reason)
        : std::runtime_error(reason), itsStatus(status) {}
    Status GetStatus() const { return itsStatus; }

private:
    Status itsStatus;
};

// Runs an action. Anything it throws but a Failure becomes one, with this status and with "what: "
// before its own message.
template <typename Action>
auto OrFail(Status status, const std::string& what, Action&& action) {
    try {
        return std::forward<Action>(action)();
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& exception) {
        throw Failure(status, what + ": " + exception.what());
    }
}
