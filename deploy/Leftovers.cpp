#include "Leftovers.h"

#include "Backups.h"
#include "ConfigurationFile.h"
#include "Database.h"
#include "PutBack.h"
#include "Registrar.h"
#include "Report.h"
#include "Requirements.h"
#include "Restoring.h"
#include "Saving.h"
#include "Status.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace {

// The applications whose registration was begun after the backup and did not finish.
std::vector<Application> BegunAfter(const Backup& backup) {
    std::vector<Application> applications;
    for (const std::string& path : backup.what) {
        Application application = ApplicationOnceAt(path);
        if (backup.why == Why::Registering && path.front() != FINISHED
            && application.record != nullptr) {
            applications.push_back(application);
        }
    }
    return applications;
}

// Whether all of their registration has arrived after all.
bool HaveArrived(const std::vector<Application>& applications, Inspection& inspection) {
    return std::all_of(applications.begin(), applications.end(),
                       [&inspection](const Application& application) {
                           return inspection.Missing(application).empty() && HasFile();
                       });
}

std::string NotPutBack(const Backup& backup) {
    return "what a run left half done could not be put back; to bring back all that was before:"
           " sudo tamsel-deploy --restore "
           + backup.name;
}

void RequireIntact(const Backup& backup, const Patience& patience) {
    const std::string damaged = backup.Folder()
                                + " is damaged, so what a run left half done cannot be put back;"
                                  " to bring back another state: sudo tamsel-deploy --list";
    if (!OrFail(Status::NotRestored, damaged,
                [&] { return IsSound(backup.Database(), IMMUTABLE, patience); })) {
        throw Failure(Status::NotRestored, damaged);
    }
}

// Makes the applications' rows, and XManConfigV2.xml, what they are in the backup.
void PutBack(const std::vector<Application>& applications, const Backup& backup,
             const std::string& shipped, const Patience& patience) {
    for (const Application& application : applications) {
        PutBackRows(application.Number(), backup.Database(), patience);
    }
    // Only a file that comes with Tamsel can be from that registration.
    if (!backup.HasFinished() && IsFileLike(shipped)) {
        FileChange().Restore(backup.File());
    }
}

} // namespace

void LeadBack(Inspection& inspection, const std::string& shipped, const Patience& patience) {
    for (const Backup& backup : AllBackups()) {
        const std::vector<Application> begun = BegunAfter(backup);
        if (!HaveArrived(begun, inspection)) {
            OrFail(Status::NotRestored, NotPutBack(backup), [&] {
                RequireIntact(backup, patience);
                const auto isExplained = [&](const Application& application) {
                    return inspection.IsExplained(application, backup);
                };
                if (!std::all_of(begun.begin(), begun.end(), isExplained)) {
                    Log("saved to " + Save(Why::Restoring, {backup.name}, patience).Folder());
                }
                PutBack(begun, backup, shipped, patience);
            });
            Log("led back to " + backup.name + " what a run left half done");
        }
        End(backup);
    }
}

std::vector<Application> ToBeLedBack(Inspection& inspection, const Patience& patience) {
    std::vector<Application> applications;
    for (const Backup& backup : AllBackups()) {
        const std::vector<Application> begun = BegunAfter(backup);
        if (!HaveArrived(begun, inspection)) {
            applications.insert(applications.end(), begun.begin(), begun.end());
            OrFail(Status::NotRestored, NotPutBack(backup), [&] {
                RequireIntact(backup, patience);
                if (!IsWritable(patience)) {
                    throw std::runtime_error("the database, or its folder, cannot be written");
                }
            });
        }
    }
    return applications;
}

void RemoveLeftovers() {
    FinishReplacement();
    RemoveUnfinished();
    RemoveUnfinishedRegistration();
    RemoveUnfinishedFiles();
}
