// One run of tamsel-deploy, from top to bottom: what was asked for, what could stand in the way,
// the work, the result. Whatever fails throws a Failure, whose status the run ends with.
//
// The database changes at one moment, at COMMIT: before it all rows are what they were, after it
// all are what was wanted. So there is nothing in it that would ever have to be undone.

#include "Applications.h"
#include "Backups.h"
#include "Database.h"
#include "Files.h"
#include "Options.h"
#include "Places.h"
#include "Registration.h"
#include "Report.h"
#include "Requirements.h"
#include "Restoring.h"
#include "Status.h"
#include "Waiting.h"

#include <algorithm>
#include <fcntl.h>
#include <new>
#include <optional>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr char NOBACKUP[] = "no backup could be made";
constexpr char UNPLACED[] = "XManConfigV2.xml cannot be put in place";

class Run {
public:
    Run(const Options& asked, Report& result)
        : options(asked), report(result), patience(asked.wait) {}

    // Does what was asked for. Throws nothing but std::bad_alloc.
    void Do() {
        try {
            if (options.command == Command::List) {
                RequireRoot();
                RequireBackups(false);
                report.backups = AllBackups();
            } else if (options.command == Command::Restore) {
                RestoreBackup();
            } else {
                ForApplications();
            }
        } catch (const std::exception& exception) {
            const Failure failure = AsFailure(exception);
            const bool isRestore = options.command == Command::Restore;
            const Status status = failure.GetStatus() == Status::NotRegistered && isRestore
                                      ? Status::NotRestored
                                      : failure.GetStatus();
            report.Fail(status, failure.what());
            // Every application gets its line all the same.
            for (Application& application : report.applications) {
                if (!application.IsSettled()) {
                    application.Settle(State::Failed, status, failure.what());
                }
            }
        }
    }

private:
    // --verify, --dry-run and a registration.
    void ForApplications() {
        const bool onlyLooks = options.command == Command::Verify;
        if (!onlyLooks) {
            RequireRoot();
        }
        shipped = RequireInstallation();
        if (!onlyLooks) {
            RequireNoManager(patience);
        }
        RequireDatabase(true);
        SetupAdobeApplicationList();
        report.applications =
            options.words.empty() ? InstalledApplications() : ApplicationsAt(options.words);
        if (report.applications.empty()) {
            throw Failure(Status::NoApplication, "no supported application is in /Applications");
        }
        for (const Application& application : report.applications) {
            if (application.record == nullptr) {
                report.Fail(application.status, application.path + ": " + application.reason);
            }
        }
        if (!onlyLooks) {
            RequirePlainFile();
        }
        registration.emplace(report.applications, patience);
        registration->Execute("BEGIN");
        const bool areAllRegistered = Look();
        registration->Execute("COMMIT");
        if (onlyLooks) {
            Judge();
        } else if (!areAllRegistered) {
            RequireWritableDatabase();
            RequireWritableBackups(writes);
            writes ? WithLock([this] { Transact(); }) : Transact();
        }
    }

    void RestoreBackup() {
        RequireRoot();
        RequireNoManager(patience);
        RequireDatabase(false);
        RequireBackups(false);
        if (KindOf(BACKUPS) == Kind::Nothing) {
            // There is no place for a lock, either.
            throw Failure(Status::NotRestored, "there is no backup");
        }
        RequirePlainFile();
        WithLock([this] {
            Backup backup = FindBackup(options.words, patience);
            const Backup present = OrFail(Status::NoBackup, NOBACKUP, [&] {
                SaveAnything(patience);
                return Publish(backup);
            });
            report.backup = present.name;
            Log("saved to " + present.Folder());
            Restore(backup, patience, report.hasChanged);
            // Nothing from here on may turn it into a failure.
            report.restored.swap(backup.name);
            Log("restored: " + report.restored);
            OrLog(EndAll);
            OrLog(RemoveOld);
        });
    }

    // Does what only one run at a time may do. Whatever happens, nothing unfinished is left.
    template <typename Work>
    void WithLock(Work work) {
        const auto removeLeftovers = [] {
            for (const std::string& path : {INCOMPLETE, NEWDATABASE, NEWFILE, OLDFILE}) {
                Remove(path);
            }
        };
        const Descriptor lock(LockRuns(patience));
        OrFail(Status::NoBackup, NOBACKUP, removeLeftovers);
        try {
            work();
        } catch (...) {
            registration.reset();
            OrLog(removeLeftovers);
            throw;
        }
        OrLog(removeLeftovers);
    }

    // The transaction of a registration. A dry run makes the same, but for the backup, the file and
    // COMMIT. Whatever throws ends it, and nothing has changed.
    void Transact() {
        registration->Execute("BEGIN IMMEDIATE");
        // From here on nobody else writes.
        if (!registration->GetDatabase().IsIntact()) {
            throw Failure(Status::NotTheDatabase, std::string("the database is damaged") + MENDING);
        }
        if (Look()) {
            return;
        }
        {
            // Still sees what was there before, as others do.
            Database before(DATABASE, READONLY, patience);
            if (writes) {
                OrFail(Status::NoBackup, NOBACKUP, [&before] { SaveSound(before); });
            }
            WriteRows(before);
        }
        if (!paths.empty() && needsFile) {
            RequireWritableFile();
        }
        if (!paths.empty() && writes) {
            Commit();
        }
        for (Application& application : report.applications) {
            if (application.state == State::Arriving) {
                application.changed = writes;
                application.state = writes ? State::Registered : State::WouldRegister;
            }
        }
    }

    // Finds out what is in the database and in the configuration folder. Returns whether all
    // applications are registered.
    bool Look() {
        hasFile = KindOf(INSTALLEDFILE) == Kind::File;
        needsFile = !hasFile || (options.replaceFile && !HoldSame(INSTALLEDFILE, shipped));
        registration->Look(report.applications);
        bool areAllRegistered = true;
        for (Application& application : report.applications) {
            if (application.record != nullptr) {
                application.state = !application.differences.empty() ? State::NotRegistered
                                    : !needsFile                     ? State::Registered
                                    : hasFile                        ? State::AnotherFile
                                                                     : State::WithoutFile;
            }
            areAllRegistered = areAllRegistered && application.IsSettled();
        }
        return areAllRegistered;
    }

    // Says of those that are not registered what is wrong with them.
    void Judge() {
        for (Application& application : report.applications) {
            if (!application.IsSettled()) {
                const bool hasRows = application.differences.empty();
                const std::string what =
                    hasFile ? " is not the one that comes with Tamsel" : " is missing";
                report.Fail(application, application.state,
                            hasRows ? Status::NoFile : Status::NotRegistered,
                            hasRows ? INSTALLEDFILE + what : Sentence(application.differences));
            }
        }
    }

    // Writes the rows that are missing: of each application all, or none. Those that will be
    // registered if this is committed are arriving. before sees the database as it was.
    void WriteRows(Database& before) {
        std::vector<std::string> numbers;
        for (Application& application : report.applications) {
            if (!application.IsSettled()) {
                try {
                    if (!application.differences.empty()) {
                        registration->Write(application, report.applications);
                        numbers.push_back(application.Number());
                    }
                    paths.push_back(application.path);
                    application.state = State::Arriving;
                } catch (const std::exception& exception) {
                    RequireNoSignal();
                    if (!registration->GetDatabase().IsInTransaction()) {
                        throw Failure(Status::NotRegistered,
                                      application.path
                                          + " ended the transaction: " + exception.what());
                    }
                    report.Fail(application, State::Failed, Status::NotRegistered,
                                exception.what());
                }
            }
        }
        // A trigger, or what was written later, may have changed what was right before.
        registration->RequireOthersUnchanged(before, numbers);
        registration->Look(report.applications);
        for (const Application& application : report.applications) {
            const bool counts = application.state <= State::Registered;
            if (counts && !application.differences.empty()) {
                throw Failure(Status::NotRegistered,
                              application.path + " would not be registered in the end");
            }
        }
    }

    // Makes it final: the backup gets its name, XManConfigV2.xml its place, and the rows are
    // committed. Killed before COMMIT, this leaves a backup that is unfinished, and perhaps the new
    // file. Throws a Failure if nothing has changed, or if that cannot be told.
    void Commit() {
        if (needsFile) {
            OrFail(Status::NoFile, UNPLACED, [this] { PrepareFile(); });
        }
        RequireNoSignal();
        const Backup backup =
            OrFail(Status::NoBackup, NOBACKUP, [this] { return Publish(paths, shipped); });
        report.backup = backup.name;
        report.hasChanged = true;
        try {
            if (needsFile) {
                OrFail(Status::NoFile, UNPLACED, [] { Rename(NEWFILE, INSTALLEDFILE); });
            }
            registration->Execute("COMMIT");
        } catch (const std::exception& exception) {
            const Failure failure = AsFailure(exception);
            Log(std::string("looking whether the rows were written: ") + failure.what());
            if (!IsCommitted()) {
                OrLog([this, &backup] {
                    if (needsFile) {
                        TakeBackFile();
                    }
                    Withdraw(backup);
                    report.backup.clear();
                    report.hasChanged = false;
                });
                throw failure;
            }
        }
        OrLog([&backup] { End(backup); });
        OrLog(RemoveOld);
        Log("saved to " + backup.Folder());
        for (const std::string& path : paths) {
            Log("registered: " + path);
        }
    }

    // Makes a copy of the shipped file, with the owner and mode of the present one, or root's. The
    // present one is kept at hand by a second name: that takes no room.
    void PrepareFile() const {
        struct stat like {};
        like.st_mode = 0644;
        CopyFile(shipped, NEWFILE, hasFile ? StatusOf(INSTALLEDFILE) : like);
        if (hasFile) {
            Checked(link(INSTALLEDFILE.c_str(), OLDFILE.c_str()), OLDFILE);
        }
    }

    void TakeBackFile() const {
        if (hasFile) {
            Rename(OLDFILE, INSTALLEDFILE);
        } else {
            Remove(INSTALLEDFILE);
            SyncFolder(CONFIGURATION);
        }
    }

    // Whether COMMIT has worked although it failed: once the rows are on the disk, an error while
    // tidying up proves nothing. What a connection of its own finds decides.
    bool IsCommitted() {
        if (registration->GetDatabase().IsInTransaction()) {
            return false;
        }
        registration.reset();
        Registration(report.applications, patience).Look(report.applications);
        return std::all_of(report.applications.begin(), report.applications.end(),
                           [](const Application& application) {
                               return application.state != State::Arriving
                                      || application.differences.empty();
                           });
    }

    const Options& options;
    Report& report;
    Patience patience;
    const bool writes = options.command == Command::Register;
    // The XManConfigV2.xml that comes with Tamsel; whether there is one, and whether it is needed.
    std::string shipped;
    bool hasFile = false;
    bool needsFile = false;
    std::optional<Registration> registration;
    // Of those that are arriving.
    std::vector<std::string> paths;
};

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
            Run(options, report).Do();
            output = options.json ? Json(report, options.command) : Lines(report);
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
    if (report.hasChanged) {
        OrLog([&report] {
            const Backup before{report.backup};
            Log(KindOf(before.Database()) == Kind::File
                    ? "to bring back the state before: sudo tamsel-deploy --restore " + before.name
                    : "what was there before is in " + before.Folder());
        });
    }
    ReleaseSignals();
    return static_cast<int>(report.status);
}
