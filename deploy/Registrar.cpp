#include "Registrar.h"

#include "ConfigurationFile.h"
#include "Files.h"
#include "Places.h"
#include "Processes.h"
#include "PutBack.h"
#include "Report.h"
#include "Status.h"

#include <sstream>
#include <unistd.h>

namespace {

const std::string RESERVE = DATABASEFOLDER + "/.tamsel-reserve";

// How long putting back waits for a lock, whatever the run was told.
constexpr std::chrono::seconds GRACE{10};

// The folder from which Tamsel seems to be started. There it looks for the file to copy, and finds
// a link to the very file that it would write: the copy changes nothing, since cp sees that both
// are the same.
class Staging {
public:
    Staging() {
        const std::string resources = STAGING + "/Resources";
        RemoveFolder(STAGING);
        for (const std::string& folder : {STAGING, resources}) {
            Checked(mkdir(folder.c_str(), 0700), folder);
        }
        Checked(symlink(INSTALLEDFILE.c_str(), (resources + "/" + FILENAME).c_str()), resources);
    }
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;
    ~Staging() {
        OrLog([] { RemoveFolder(STAGING); });
    }
};

bool HasLine(const std::string& output, const std::string& line) {
    return ("\n" + output).find("\n" + line + "\n") != std::string::npos;
}

bool IsWritten(const Outcome& outcome) {
    return outcome.status == 0 && HasLine(outcome.output, "InsertProductInfo true")
           && HasLine(outcome.output, "InsertXManConfig true");
}

// What Tamsel says if another program's lock is in its way.
bool IsLocked(const Outcome& outcome) {
    return HasLine(outcome.output, "Return code after executing SQL: 5")
           || HasLine(outcome.output, "ERROR: while compiling sql: database is locked");
}

void LogOutput(const std::string& output) {
    std::istringstream rest(output);
    for (std::string line; std::getline(rest, line);) {
        // cp has nothing to do, and complains about it.
        if (!line.empty() && line.rfind("cp: ", 0) != 0) {
            Log("Tamsel: " + line);
        }
    }
}

} // namespace

bool Registrar::HasRightFile() const {
    return itsOptions.replaceFile ? IsFileLike(itsPackage.file) : HasFile();
}

void Registrar::Verify(Application& application) {
    application.missing = itsInspection.Missing(application);
    if (!application.missing.empty()) {
        std::string keys;
        for (const std::string& key : application.missing) {
            keys += " " + key;
        }
        application.Settle("not registered", Status::NotRegistered, "missing or different:" + keys);
    } else if (!HasRightFile()) {
        application.Settle("without XManConfigV2.xml", Status::NoFile,
                           itsOptions.replaceFile
                               ? "XManConfigV2.xml is not the one that comes with Tamsel"
                               : "XManConfigV2.xml is missing in the configuration folder");
    } else {
        application.Settle("registered");
    }
}

void Registrar::Judge(Application& application, const Backup& backup, Written& written) {
    written = Written::Rows;
    const Outcome outcome = [this, &application] {
        const Staging staging;
        return Start(itsPackage.program, {STAGING + "/Tamsel", "-r", application.path});
    }();
    if (HasLine(outcome.output, "InsertProductInfo false")
        && HasLine(outcome.output, "InsertXManConfig false")) {
        written = Written::NothingItSays;
    }
    if (!IsWritten(outcome)) {
        LogOutput(outcome.output);
        application.Settle("failed",
                           IsLocked(outcome) ? Status::DatabaseInUse : Status::NotRegistered,
                           "Tamsel could not write the rows");
    } else if (itsInspection.CanDisplace()
               && HasDisplaced(application.Number(), backup.Database(), itsPatience)) {
        application.Settle("failed", Status::NotRegistered, "rows of other products had to go");
    } else {
        Verify(application);
    }
}

void Registrar::VerifyAgain(Application& application, const Backup& backup) {
    Verify(application);
    if (!application.IsRegistered()) {
        FileChange none;
        Undo(application, backup, none, Written::Rows);
    }
}

void Registrar::PutBack(const Application& application, const Backup& backup, Written written) {
    if (written == Written::Nothing) {
        return;
    }
    try {
        PutBackRows(application.Number(), backup.Database(), itsPatience);
    } catch (const Failure&) {
        // Another program's lock is in the way. It was in Tamsel's way too, unless Tamsel has
        // written.
        if (written == Written::Rows) {
            Log("waiting for a lock, to put back what was written");
            PutBackRows(application.Number(), backup.Database(), Patience(GRACE, false));
        }
    }
}

void Registrar::Undo(const Application& application, const Backup& backup, FileChange& file,
                     Written written) {
    std::string trouble;
    const auto attempt = [&trouble](const auto& action) {
        try {
            action();
        } catch (const std::exception& exception) {
            trouble = exception.what();
        }
    };
    OrLog([] { RemoveFile(RESERVE); });
    attempt([&] { file.TakeBack(); });
    attempt([&] { PutBack(application, backup, written); });
    if (!trouble.empty()) {
        throw Failure(Status::NotRestored,
                      application.path + ": " + application.reason + "; not put back: " + trouble);
    }
}

void Registrar::Prepare(FileChange& file) const {
    OrFail(Status::NoFile, "XManConfigV2.xml cannot be put in place", [&] {
        file.Begin();
        if (!HasRightFile()) {
            file.Replace(itsPackage.file);
        }
    });
    OrFail(Status::NoBackup, "there is no room to put back what fails", [] {
        if (KindOf(RESERVE) == Kind::Nothing) {
            WriteFile(RESERVE, std::string(RESERVED, '\0'));
        }
    });
}

void Registrar::Try(Application& application, const Backup& backup) {
    FileChange file;
    Written written = Written::Nothing;
    try {
        Prepare(file);
        Judge(application, backup, written);
    } catch (const Failure& failure) {
        application.Settle("failed", failure.GetStatus(), failure.what());
    } catch (const std::exception& exception) {
        application.Settle("failed", Status::NotRegistered, exception.what());
    }
    if (application.IsRegistered()) {
        OrLog([&file] { file.Keep(); });
    } else {
        Undo(application, backup, file, written);
    }
}

void Registrar::Register(Application& application, const Backup& backup) {
    do {
        Try(application, backup);
    } while (application.status == Status::DatabaseInUse && itsPatience.Wait());
}

void RemoveUnfinishedRegistration() {
    RemoveFolder(STAGING);
    RemoveFile(RESERVE);
}
