#include "Recovery.h"

#include "Backups.h"
#include "ConfigurationFile.h"
#include "Report.h"
#include "Restoring.h"
#include "Saving.h"
#include "Status.h"

#include <algorithm>
#include <vector>

namespace {

// The applications whose registration was begun after the backup and did not come to its end.
std::vector<Application> BegunAfter(const Backup& backup) {
    std::vector<Application> applications;
    for (const std::string& path : backup.what) {
        Application application = ApplicationOnceAt(path);
        if (path.front() != SETTLED && application.record != nullptr) {
            applications.push_back(application);
        }
    }
    return applications;
}

} // namespace

void LeadBack(Registrar& registrar, const Patience& patience) {
    for (const Backup& backup : AllBackups()) {
        const std::vector<Application> begun =
            backup.why == Why::Registering ? BegunAfter(backup) : std::vector<Application>();
        const auto isComplete = [&registrar](const Application& application) {
            return registrar.IsComplete(application);
        };
        if (!std::all_of(begun.begin(), begun.end(), isComplete)) {
            const auto isExplained = [&](const Application& application) {
                return registrar.IsExplained(application, backup);
            };
            if (!std::all_of(begun.begin(), begun.end(), isExplained)) {
                Log("saved to " + Save(Why::Restoring, {backup.name}, patience).Folder());
            }
            OrFail(Status::NotRestored,
                   "what a run left half done could not be put back; to bring back all that was"
                   " before: sudo tamsel-deploy --restore "
                       + backup.name,
                   [&] { registrar.LeadBack(begun, backup); });
            Log("led back to " + backup.name + " what a run left half done");
        }
        End(backup);
    }
}

void RemoveLeftovers() {
    RemoveUnfinished();
    RemoveUnfinishedRegistration();
    RemoveUnfinishedFiles();
}
