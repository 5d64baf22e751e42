// One run of tamsel-deploy, from top to bottom: what was asked for, what could stand in the way,
// the work, the result. Whatever fails throws a Failure, whose status the run ends with.

#include "Applications.h"
#include "Backups.h"
#include "Database.h"
#include "Files.h"
#include "Inspection.h"
#include "Leftovers.h"
#include "Options.h"
#include "Places.h"
#include "RecoveredCopy.h"
#include "Registrar.h"
#include "Report.h"
#include "Requirements.h"
#include "Restoring.h"
#include "RunLock.h"
#include "Saving.h"
#include "Status.h"
#include "Waiting.h"

#include <algorithm>
#include <fcntl.h>
#include <memory>
#include <new>
#include <optional>
#include <sys/stat.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>

namespace {

std::vector<Application> RequestedApplications(const Options& options) {
    SetupAdobeApplicationList();
    std::vector<Application> applications =
        options.words.empty() ? InstalledApplications() : ApplicationsAt(options.words);
    if (applications.empty()) {
        throw Failure(Status::NoApplication, "no supported application was found in /Applications");
    }
    return applications;
}

void FailIfNotRegistered(const Application& application, Report& report) {
    if (!application.IsRegistered()) {
        report.Fail(application.status, application.path + ": " + application.reason);
    }
}

// Registers these applications. canDisplace tells whether one product's rows can displace
// another's.
void Register(const std::vector<Application*>& waiting, Registrar& registrar, bool canDisplace,
              const Patience& patience, Report& report) {
    std::vector<std::string> paths;
    paths.reserve(waiting.size());
    for (const Application* application : waiting) {
        paths.push_back(application->path);
    }
    Backup backup = Save(Why::Registering, paths, patience);
    report.backup = backup.name;
    Log("saved to " + backup.Folder());
    try {
        for (Application* application : waiting) {
            if (IsInterrupted()) {
                application->Settle("failed", Status::NotRegistered, "a signal has ended the run");
            } else {
                registrar.Register(*application, backup);
            }
            FailIfNotRegistered(*application, report);
        }
        for (Application* application : waiting) {
            // If rows can displace each other, later ones may have taken the place of these.
            if (canDisplace && application->IsRegistered()) {
                registrar.VerifyAgain(*application, backup);
                FailIfNotRegistered(*application, report);
            }
        }
    } catch (...) {
        // Something could not be put back. The next run does it, and leaves alone what is settled.
        for (std::size_t i = 0; i < waiting.size(); ++i) {
            backup.what[i].insert(0, waiting[i]->IsRegistered() ? 1 : 0, FINISHED);
        }
        OrLog([&backup] { Rewrite(backup); });
        throw;
    }
    OrLog(RemoveUnfinishedRegistration);
    OrLog([&backup] { End(backup); });
    OrLog(RemoveOld);
}

// Looks into the database, or its recovered copy.
Inspection Inspect(const std::string& database, Command command, const Patience& patience) {
    try {
        return {database, command == Command::Register ? READWRITE : READONLY, patience};
    } catch (const DatabaseError& error) {
        // Even to read a write-ahead log takes room on the disk, usually the one of the backups.
        if (error.Code() == SQLITE_IOERR && command != Command::Verify) {
            RequireRoom();
        }
        throw;
    }
}

// The applications that are not registered, or may not be once they are led back. What is already
// registered is left alone.
std::vector<Application*> Unregistered(const Options& options,
                                       const std::vector<Application>& ledBack,
                                       Registrar& registrar, Report& report) {
    std::vector<Application*> waiting;
    for (Application& application : report.applications) {
        if (application.record == nullptr) {
            continue;
        }
        const auto isSame = [&application](const Application& other) {
            return other.record == application.record;
        };
        registrar.Verify(application);
        if (options.command == Command::Verify) {
            FailIfNotRegistered(application, report);
        } else if (!application.IsRegistered()
                   || std::any_of(ledBack.begin(), ledBack.end(), isSame)) {
            application.Settle("");
            waiting.push_back(&application);
        }
    }
    return waiting;
}

// Makes sure that what a registration does could be done. database is the recovered copy, if there
// is one.
void Rehearse(const std::vector<Application*>& waiting, const std::string& database,
              const Patience& patience) {
    RequireRoom();
    RequireSound(database, READONLY, patience);
    RequireWritableFile();
    for (Application* application : waiting) {
        application->Settle("would register");
    }
}

// The work of --verify, --dry-run and a registration, once it is known which applications to look
// at.
void Work(const Options& options, const Package& package, const Patience& patience,
          Report& report) {
    const bool registers = options.command == Command::Register;
    std::optional<RunLock> lock;
    if (registers) {
        CheckBackups(true);
        lock.emplace(patience);
        RemoveLeftovers();
    } else if (options.command == Command::DryRun) {
        CheckBackups(false);
        RequirePlace();
    }
    if (options.command != Command::Verify) {
        RequirePlainFile();
    }
    const auto copy = registers ? nullptr : RecoveredCopy::IfNeeded("/tmp", patience);
    if (copy && options.command == Command::DryRun) {
        // A run would have to write even if all is registered: it recovers the database itself.
        RequireWritable(patience);
    }
    const std::string database = copy ? copy->Path() : DATABASE;
    Inspection inspection = Inspect(database, options.command, patience);
    std::vector<Application> ledBack;
    if (registers) {
        LeadBack(inspection, package.file, patience);
    } else if (options.command == Command::DryRun) {
        ledBack = ToBeLedBack(inspection, patience);
    }
    Registrar registrar(package, options, patience, inspection);
    const std::vector<Application*> waiting = Unregistered(options, ledBack, registrar, report);
    if (waiting.empty()) {
        return;
    }
    if (!registers) {
        inspection.End();
    }
    RequireWritable(patience);
    if (!copy) {
        RequireUnlocked(patience);
    }
    if (IsInterrupted()) {
        throw Failure(Status::NotRegistered, "a signal has ended the run");
    }
    if (registers) {
        Register(waiting, registrar, inspection.CanDisplace(), patience, report);
    } else {
        Rehearse(waiting, database, patience);
    }
}

void RunForApplications(const Options& options, const Patience& patience, Report& report) {
    if (options.command != Command::Verify) {
        RequireRoot();
    }
    const Package package = RequireTamsel();
    if (options.command != Command::Verify) {
        RequireNoManager(patience);
    }
    RequireDatabase(true);
    report.applications = RequestedApplications(options);
    bool isAnyLeft = false;
    for (const Application& application : report.applications) {
        if (application.record == nullptr) {
            FailIfNotRegistered(application, report);
        } else {
            isAnyLeft = true;
        }
    }
    if (isAnyLeft) {
        Work(options, package, patience, report);
    }
}

void RunRestore(const Options& options, const Patience& patience, Report& report) {
    RequireRoot();
    RequireNoManager(patience);
    RequireDatabase(false);
    if (KindOf(BACKUPS) == Kind::Nothing) {
        // There is no place for a lock, either.
        throw Failure(Status::NotRestored, "there is no backup");
    }
    CheckBackups(true);
    RequirePlainFile();
    const RunLock lock(patience);
    OrFail(Status::NotRestored, "not restored", RemoveLeftovers);
    const Backup backup = FindBackup(options.words, patience);
    const Backup present = Save(Why::Restoring, {backup.name}, patience);
    report.backup = present.name;
    Log("saved to " + present.Folder());
    if (IsInterrupted()) {
        throw Failure(Status::NotRestored, "a signal has ended the run");
    }
    std::string name = backup.name;
    Restore(backup, present, patience);
    // Nothing from here on may turn it into a failure.
    report.restored.swap(name);
    // Whatever registration was begun, its state is gone.
    OrLog([] {
        for (const Backup& begun : AllBackups()) {
            End(begun);
        }
    });
    OrLog(RemoveOld);
}

void RunList(Report& report) {
    RequireRoot();
    CheckBackups(false);
    report.backups = AllBackups();
}

void Run(const Options& options, Report& report) {
    try {
        const Patience patience(options.wait);
        if (options.command == Command::List) {
            RunList(report);
        } else if (options.command == Command::Restore) {
            RunRestore(options, patience, report);
        } else {
            RunForApplications(options, patience, report);
        }
    } catch (const std::exception& exception) {
        const Failure failure = Refused(exception);
        report.Fail(failure.GetStatus(), failure.what());
        // Every application gets its line all the same.
        for (Application& application : report.applications) {
            if (application.state.empty()) {
                application.Settle("failed", failure.GetStatus(), failure.what());
            }
        }
    }
}

// A file that is opened must not become standard output.
void FillStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1) {
            open("/dev/null", O_RDONLY);
        }
    }
}

} // namespace

int main(int argc, char* argv[]) {
    FillStandardStreams();
    HoldSignals();
    umask(022);
    openlog("tamsel-deploy", LOG_PID, LOG_USER);
    Report report;
    std::string output;
    bool isWritten = true;
    try {
        const Options options = ReadOptions(argc, argv);
        if (options.command == Command::Help) {
            output = Help();
        } else if (options.command == Command::Version) {
            output = "tamsel-deploy " TAMSEL_VERSION "\n";
        } else {
            Run(options, report);
            output = options.json ? Json(report, options.command == Command::List) : Lines(report);
        }
    } catch (const Failure& failure) {
        report.Fail(failure.GetStatus(), failure.what());
    } catch (const std::bad_alloc&) {
        isWritten = false;
    }
    if (!isWritten || !WriteOut(output)) {
        report.status = Status::NotWritten;
        Log("the result could not be written");
    }
    if (report.status != Status::Done && !report.backup.empty()) {
        Log("to bring back the state before: sudo tamsel-deploy --restore " + report.backup);
    }
    ReleaseSignals();
    return static_cast<int>(report.status);
}
