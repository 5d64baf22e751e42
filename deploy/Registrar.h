#pragma once

#include "Applications.h"
#include "Backups.h"
#include "ConfigurationFile.h"
#include "Inspection.h"
#include "Options.h"
#include "Requirements.h"
#include "Waiting.h"

// Has Tamsel register applications, judges the result, and puts back what failed.
class Registrar {
public:
    // All references must outlive this.
    Registrar(const Package& package, const Options& options, const Patience& patience,
              Inspection& inspection)
        : itsPackage(package), itsOptions(options), itsPatience(patience),
          itsInspection(inspection) {}

    // Settles an application by what is in the database and in the configuration folder.
    void Verify(Application& application);

    // The same once more. If it is no longer registered, its rows become those of the backup.
    void VerifyAgain(Application& application, const Backup& backup);

    // Registers the application, or leaves its rows and XManConfigV2.xml as they were, and settles
    // it. If another program's lock stops Tamsel, tries again as long as patience lasts. Throws a
    // Failure with Status::NotRestored if something could not be put back.
    void Register(Application& application, const Backup& backup);

private:
    // What Tamsel has written: nothing, since it was not started; nothing, as it says; or rows,
    // perhaps.
    enum class Written : unsigned char { Nothing, NothingItSays, Rows };

    bool HasRightFile() const;
    // Starts Tamsel and settles the application by what came of it.
    void Judge(Application& application, const Backup& backup, Written& written);
    void PutBack(const Application& application, const Backup& backup, Written written);
    // Puts back the rows and the file. Throws a Failure with Status::NotRestored.
    void Undo(const Application& application, const Backup& backup, FileChange& file,
              Written written);
    // Puts the file in place, and reserves the room that putting back needs.
    void Prepare(FileChange& file) const;
    void Try(Application& application, const Backup& backup);

    const Package& itsPackage;
    const Options& itsOptions;
    const Patience& itsPatience;
    Inspection& itsInspection;
};

// Removes what a run leaves behind when it is killed while Tamsel runs.
void RemoveUnfinishedRegistration();
