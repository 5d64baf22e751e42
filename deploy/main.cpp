// One run of tamsel-deploy, from top to bottom: what was asked for, what could stand in the way,
// the work, the result. Whatever fails throws a Failure, whose status the run ends with.
//
// The database changes at one moment, at COMMIT: before it all rows are what they were, after it
// all are what was wanted. So there is nothing in it that would ever have to be undone. A
// registration that is killed leaves
// - before Publish, at most temporary files: .incomplete and those with .tamsel- in their names;
// - before COMMIT, also an unfinished backup, and perhaps the new XManConfigV2.xml;
// - in COMMIT, also SQLite's journal or log, with which whoever opens the database next ends it;
// - after COMMIT, all that was wanted. The backup may still be unfinished, or one too many.

#include "CommandLine.h"

#include <algorithm>
#include <new>
#include <syslog.h>

namespace {

constexpr char FAILED[] = "failed";
const std::string SAVED = "saved to " + BACKUPS + "/";
constexpr char NOBACKUP[] = "no backup could be made";
constexpr char UNWRITABLE[] = "the database cannot be written";
constexpr char UNPLACED[] = "XManConfigV2.xml cannot be put in place";

class Run {
public:
    Run(const Options& asked, Report& result) : options(asked), report(result) {}

    // Does what was asked for. Throws nothing but std::bad_alloc.
    void Do() {
        WaitAtMost(options.wait);
        try {
            Require(geteuid() == 0 || options.command == Command::Verify, Status::NotRoot,
                    "this needs root; start it with sudo");
            if (options.command == Command::List) {
                RequireBackups(false);
                report.backups = AllBackups();
            } else if (options.command == Command::Restore) {
                RestoreBackup();
            } else {
                ForApplications();
            }
        } catch (const std::exception& exception) {
            Failure failure = AsFailure(exception);
            // For a restore, whatever has no status of its own is one that failed.
            if (failure.status == Status::NotRegistered && options.command == Command::Restore) {
                failure.status = Status::NotRestored;
            }
            report.Fail(failure.status, failure.what());
            // Every application gets its line all the same.
            for (Application& application : report.applications) {
                if (!application.IsSettled()) {
                    application.state = FAILED;
                    application.reason = failure.what();
                    application.differences.clear();
                }
            }
        }
    }

private:
    // Killed, this leaves the backup of what is there, once it is published; the database as it was
    // or restored, its owner and mode after that; XManConfigV2.xml last. What is no database loses
    // the files beside it first. Given again, it completes that.
    void RestoreBackup() {
        RequireNoManager();
        RequirePlainFile(DATABASE, Status::NotTheDatabase);
        // Without that folder there is no place for a lock, either.
        Require(RequireBackups(false) == BACKUPS, Status::NotRestored, "there is no backup");
        RequirePlainFile(INSTALLEDFILE, Status::NoFile);
        WithLock([this] {
            Backup backup = FindBackup(options.words);
            report.backup = OrFail(Status::NoBackup, NOBACKUP, [&backup] {
                SaveAnything();
                return Publish(backup).name;
            });
            Log(SAVED, report.backup);
            Restore(backup, report.hasChanged);
            // Nothing from here on may turn it into a failure.
            report.restored.swap(backup.name);
            Log("restored: ", report.restored);
            OrLog(EndUnfinished);
            OrLog(RemoveOld);
        });
    }

    // --verify, --dry-run and a registration. To look, SQLite may end what a crashed program left.
    void ForApplications() {
        shipped = RequireInstallation();
        if (options.command != Command::Verify) {
            RequireNoManager();
        }
        Require(RequirePlainFile(DATABASE, Status::NotTheDatabase), Status::NoDatabase,
                "there is no database " + DATABASE + "; is the Extension Manager installed?");
        SetupAdobeApplicationList();
        report.applications = ApplicationsAt(options.words);
        Require(!report.applications.empty(), Status::NoApplication,
                "no supported application is in /Applications");
        for (const Application& application : report.applications) {
            if (application.record == nullptr) {
                report.Fail(Status::NoApplication, application.path + ": " + application.reason);
            }
        }
        RequirePlainFile(INSTALLEDFILE, Status::NoFile);
        registration.emplace(report.applications);
        registration->Execute("BEGIN");
        Look();
        registration.reset();
        if (options.command == Command::Verify) {
            Judge();
        } else if (!missing.empty()) {
            RequireWritable(DATABASE, Status::NotRegistered, UNWRITABLE);
            RequireWritable(DATABASEFOLDER, Status::NotRegistered, UNWRITABLE);
            OrFail(Status::NoBackup, NOBACKUP, [this] {
                RequireWritable(RequireBackups(writes), Status::NoBackup, NOBACKUP);
                RequirePlainFile(LOCKFILE, Status::NoBackup);
            });
            writes ? WithLock([this] { Transact(); }) : Transact();
        }
    }

    // Finds out what is in the database and the configuration folder, and what is missing there.
    void Look() {
        registration->Look();
        // After the rows: another run puts the file in place before its own can be seen.
        hasFile = KindOf(INSTALLEDFILE) == S_IFREG;
        needsFile = !hasFile || (options.replaceFile && !HoldSame(INSTALLEDFILE, shipped));
        missing.clear();
        for (Application& application : report.applications) {
            if (application.record != nullptr) {
                application.state = !application.differences.empty() ? "not registered"
                                    : !needsFile                     ? REGISTERED
                                    : hasFile                        ? "another XManConfigV2.xml"
                                                                     : "without XManConfigV2.xml";
            }
            if (!application.IsSettled()) {
                missing.push_back(&application);
            }
        }
    }

    // Says of those that are not registered what is wrong with them.
    void Judge() {
        const std::string file =
            INSTALLEDFILE + (hasFile ? " is not the one that comes with Tamsel" : " is missing");
        for (Application* one : missing) {
            one->differences.empty()
                ? report.Fail(*one, Status::NoFile, file)
                : report.Fail(*one, Status::NotRegistered, Sentence(one->differences));
        }
    }

    // Does what only one run at a time may do. Its temporary files, and a killed run's, go.
    template <typename Work>
    void WithLock(Work work) {
        const auto removeLeftovers = [] {
            for (const std::string& path : {INCOMPLETE, NEWDATABASE, NEWFILE, OLDFILE}) {
                Remove(path);
            }
        };
        const std::unique_ptr<File> lock = LockRuns();
        OrFail(Status::NoBackup, NOBACKUP, removeLeftovers);
        const std::shared_ptr<void> atTheEnd(nullptr, [this, &removeLeftovers](void*) {
            registration.reset(); // which ends its transaction
            OrLog(removeLeftovers);
        });
        work();
    }

    // The transaction of a registration. A dry run makes the same, but for the backup, the file and
    // COMMIT. Whatever throws ends it, and unless Commit says otherwise, nothing has changed.
    void Transact() {
        registration.emplace(report.applications);
        registration->Execute("BEGIN IMMEDIATE");
        // From here on nobody else writes.
        Require(registration->IsIntact(), Status::NotTheDatabase,
                std::string("the database is damaged; ") + MENDING);
        Look();
        if (!missing.empty()) {
            WriteRows();
        }
        if (uncommitted.empty()) {
            return;
        }
        if (needsFile) {
            RequireWritable(CONFIGURATION, Status::NoFile, UNPLACED);
        }
        if (writes) {
            Commit();
            // Nothing from here on may turn it into a failure.
            OrLog(EndUnfinished);
            OrLog(RemoveOld);
            Log(SAVED, report.backup);
        }
        if (needsFile) {
            Log(writes ? "XManConfigV2.xml was " : "XManConfigV2.xml would be ",
                hasFile ? "replaced" : "put in place");
        }
        for (Application* application : uncommitted) {
            application->changed = writes;
            application->state = writes ? REGISTERED : "would register";
            if (writes) {
                Log("registered: ", application->path);
            }
        }
    }

    // Saves what is there, and writes the rows that are missing: of each application all, or none.
    // Those that will be registered if this is committed are uncommitted.
    void WriteRows() {
        // Still sees what was there before, as others do.
        Database before(DATABASE, READONLY);
        if (writes) {
            OrFail(Status::NoBackup, NOBACKUP, [&before] { SaveSound(before); });
        }
        for (Application* application : missing) {
            try {
                if (!application->differences.empty()) {
                    registration->Write(*application);
                }
                uncommitted.push_back(application);
            } catch (const std::runtime_error& exception) {
                RequireNoSignal();
                Require(registration->IsInTransaction(), Status::NotRegistered,
                        application->path + " ended the transaction: " + exception.what());
                application->state = FAILED;
                report.Fail(*application, Status::NotRegistered, exception.what());
            }
        }
        // A trigger, or what was written later, may have changed what was right before.
        registration->RequireOthersUnchanged(before);
        registration->Look();
        for (const Application& application : report.applications) {
            Require(application.differences.empty() || application.state == FAILED,
                    Status::NotRegistered,
                    application.path + " would not be registered in the end");
        }
    }

    // Makes it final: the backup gets its name, XManConfigV2.xml its place, and the rows are
    // committed. Throws a Failure if nothing has changed, or if that cannot be told.
    void Commit() {
        if (needsFile) {
            OrFail(Status::NoFile, UNPLACED, [this] { PrepareFile(); });
        }
        RequireNoSignal();
        const Backup backup =
            OrFail(Status::NoBackup, NOBACKUP, [this] { return Publish(uncommitted, shipped); });
        try {
            report.backup = backup.name;
            report.hasChanged = true;
            if (needsFile) {
                OrFail(Status::NoFile, UNPLACED, [] { Rename(NEWFILE, INSTALLEDFILE); });
            }
            registration->Execute("COMMIT");
        } catch (const std::exception& exception) {
            if (IsCommitted(exception.what())) {
                return;
            }
            OrLog([this, &backup] {
                TakeBackFile();
                // If that fails, the backup stays, and the log tells the way back.
                report.backup.clear();
                report.hasChanged = false;
                Withdraw(backup);
            });
            throw AsFailure(exception);
        }
    }

    // Makes a copy of the shipped file, with the owner and mode of the present one, or root's. The
    // present one gets a second name: to take it back must be possible on a full disk, too.
    void PrepareFile() const {
        struct stat like {};
        like.st_mode = 0644;
        CopyFile(shipped, NEWFILE, hasFile ? StatusOf(INSTALLEDFILE) : like);
        if (hasFile) {
            Checked(link(INSTALLEDFILE.c_str(), OLDFILE.c_str()), OLDFILE);
        }
    }

    // After a COMMIT that has failed. Whether the file was renamed shows in what is left beside it.
    void TakeBackFile() const {
        if (needsFile && hasFile) {
            Rename(OLDFILE, INSTALLEDFILE);
        } else if (needsFile && KindOf(NEWFILE) == NOTHING) {
            Remove(INSTALLEDFILE);
            SyncFolder(CONFIGURATION);
        }
    }

    // Whether COMMIT has worked although it failed: once the rows are on the disk, an error while
    // tidying up proves nothing. What a connection of its own finds decides.
    bool IsCommitted(const std::string& error) {
        if (registration->IsInTransaction()) {
            return false;
        }
        registration.reset();
        Log("looking whether the rows were written: ", error);
        OrFail(Status::NotRegistered, error + "; ask with --verify whether it was committed",
               [this] { Registration(report.applications).Look(); });
        return std::all_of(uncommitted.begin(), uncommitted.end(),
                           [](const Application* one) { return one->differences.empty(); });
    }

    const Options& options;
    Report& report;
    const bool writes = options.command == Command::Register;
    // The XManConfigV2.xml that comes with Tamsel; whether there is one, and whether it is needed.
    std::string shipped;
    bool hasFile = false;
    bool needsFile = false;
    std::optional<Registration> registration;
    // Those that are not registered yet; those that a COMMIT will register.
    std::vector<Application*> missing;
    std::vector<Application*> uncommitted;
};

} // namespace

int main(int argc, char* argv[]) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1) {
            // A file that is opened must not become standard output.
            open("/dev/null", O_RDONLY);
        }
    }
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
        report.Fail(failure.status, failure.what());
    } catch (const std::bad_alloc&) {
        isWritten = false;
    }
    isWritten &= std::fwrite(output.data(), 1, output.size(), stdout) == output.size();
    if (std::fclose(stdout) != 0 || !isWritten) {
        report.status = Status::NotWritten;
        Log("the result could not be written");
    }
    if (report.hasChanged) {
        OrLog([&report] {
            const Backup before{report.backup};
            before.CanRestore()
                ? Log("to bring back the state before: sudo tamsel-deploy --restore ", before.name)
                : Log("what was there before is in ", before.Folder());
        });
    }
    ReleaseSignals();
    return static_cast<int>(report.status);
}
