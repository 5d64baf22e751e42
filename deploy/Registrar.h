#pragma once

#include "Applications.h"
#include "Backups.h"
#include "ConfigurationFile.h"
#include "Inspection.h"
#include "Options.h"
#include "Waiting.h"

#include <string>
#include <vector>

// Has Tamsel register applications, judges what came of it, and puts back what did not.
class Registrar {
public:
    // folder holds Tamsel and Resources/XManConfigV2.xml. All references must outlive this.
    Registrar(const std::string& folder, const Options& options, const Patience& patience,
              Inspection& inspection);

    // Whether one product's rows can displace another's.
    bool CanDisplace() { return itsInspection.CanDisplace(); }

    // Settles an application by what is in the database and in the configuration folder.
    void Verify(Application& application);

    // The same once more. Where it is not registered any more, its rows become those of the backup.
    void VerifyAgain(Application& application, const Backup& backup);

    // Registers the application, or leaves its rows and XManConfigV2.xml as they were, and settles
    // it. Where another program's lock stops Tamsel, tries again as long as patience lasts. Throws
    // a Failure with Status::NotRestored where something could not be put back.
    void Register(Application& application, const Backup& backup);

    // Whether the application's rows are there, and XManConfigV2.xml, be it Tamsel's or not.
    bool IsComplete(const Application& application);

    // Whether all rows of the application that are there come from the backup or from Tamsel, so
    // that LeadBack loses nothing.
    bool IsExplained(const Application& application, const Backup& backup);

    // Makes the applications' rows, and XManConfigV2.xml, what they are in the backup that was made
    // before their registration, which did not come to its end.
    void LeadBack(const std::vector<Application>& applications, const Backup& backup);

private:
    bool HasRightFile() const;
    // Returns whether Tamsel said that it has written nothing.
    bool Judge(Application& application, const Backup& backup);
    void PutBack(const Application& application, const Backup& backup, bool wroteNothing);
    // Puts the file in place, and reserves the room that putting back takes.
    void Prepare(FileChange& file) const;
    void Try(Application& application, const Backup& backup);

    std::string program;
    std::string shipped;
    const Options& itsOptions;
    const Patience& itsPatience;
    Inspection& itsInspection;
};

// Removes what a run leaves that is killed while Tamsel runs.
void RemoveUnfinishedRegistration();
