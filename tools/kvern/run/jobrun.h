// `kvern sort`, `merge`, `copy`, `check` and `deal`: plans a job, has its records flow, and
// puts the engine's failures in the user's words.
//
// In this folder: what is done once the options are known.  Left to others: what a
// description means (syntax, plan), the way of the records (flow).  In order: the inputs
// opened, the plan, the flow of the verb, the output put in its place, the statistics.
#pragma once

#include "kvern/options/joboptions.h"

namespace command {

// Throws failure or `stopped`.
void runjob(const joboptions &options);

} // namespace command
