#pragma once

#include "Registrar.h"
#include "Waiting.h"

// What a run begins with when another one was killed, or could not put something back.

// Leads back to the backup before each registration that has not come to its end, unless all of it
// has arrived after all. All its applications go, so that the backup remains the state before the
// first attempt. Throws a Failure with Status::NotRestored.
void LeadBack(Registrar& registrar, const Patience& patience);

// Removes what lies about in between.
void RemoveLeftovers();
