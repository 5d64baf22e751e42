#pragma once

#include "Inspection.h"
#include "Waiting.h"

#include <string>

// What a run begins with when another one was killed, or could not put something back.

// Leads back to the backup before each registration that has not come to its end, unless all of it
// has arrived after all. All its applications go, so that the backup remains the state before the
// first attempt. shipped is the XManConfigV2.xml that comes with Tamsel. What is left of the other
// run has to be removed before. Throws a Failure with Status::NotRestored.
void LeadBack(Inspection& inspection, const std::string& shipped, const Patience& patience);

// Removes what a killed run has left: the staging folder, the reserve, unfinished files.
void RemoveLeftovers();
