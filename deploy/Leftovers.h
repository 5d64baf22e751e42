#pragma once

#include "Inspection.h"
#include "Waiting.h"

#include <string>
#include <vector>

// What a run begins with if an earlier one was killed, or could not put something back.

// Rolls back to its backup each registration that has not finished, unless all of it has arrived
// after all. All of its applications are rolled back, so that the backup remains the state before
// the first attempt. shipped is the XManConfigV2.xml that comes with Tamsel. RemoveLeftovers must
// have been called before. Throws Failures, with Status::NotRestored if something cannot be put
// back.
void LeadBack(Inspection& inspection, const std::string& shipped, const Patience& patience);

// The applications that LeadBack would roll back. Changes nothing, but throws what LeadBack would
// if a backup is damaged or the database cannot be written.
std::vector<Application> ToBeLedBack(Inspection& inspection, const Patience& patience);

// Settles what a killed run has left: finishes a replacement of the database, and removes the
// staging folder, the reserve and unfinished files. Throws std::system_error.
void RemoveLeftovers();
