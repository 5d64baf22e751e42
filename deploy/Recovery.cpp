#include "Recovery.h"

#include "Backups.h"
#include "ConfigurationFile.h"
#include "PutBack.h"
#include "Registrar.h"
#include "Report.h"
#include "Restoring.h"
#include "Saving.h"
#include "Status.h"

#include <algorithm>
#include <vector>

namespace {

// The applications whose registration was begun after the backup and did not finish.
std::vector<Application> BegunAfter(const Backup& backup) {
    std::vector<Application> applications;
    for (const std::string& path : backup.what) {
        Application application = ApplicationOnceAt(path);
        if (path.front() != FINISHED && application.record != nullptr) {
            applications.push_back(application);
        }
    }
    return applications;
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
        if (backup.why != Why::Registering) {
            continue;
        }
        const std::vector<Application> begun = BegunAfter(backup);
        const auto isComplete = [&inspection](const Application& application) {
            return inspection.Missing(application).empty() && HasFile();
        };
        const auto isExplained = [&](const Application& application) {
            return inspection.IsExplained(application, backup);
        };
        if (!std::all_of(begun.begin(), begun.end(), isComplete)) {
            if (!std::all_of(begun.begin(), begun.end(), isExplained)) {
                Log("saved to " + Save(Why::Restoring, {backup.name}, patience).Folder());
            }
            OrFail(Status::NotRestored,
                   "what a run left half done could not be put back; to bring back all that was"
                   " before: sudo tamsel-deploy --restore "
                       + backup.name,
                   [&] { PutBack(begun, backup, shipped, patience); });
            Log("led back to " + backup.name + " what a run left half done");
        }
        End(backup);
    }
}

void RemoveLeftovers() {
    FinishReplacement();
    RemoveUnfinished();
    RemoveUnfinishedRegistration();
    RemoveUnfinishedFiles();
}
