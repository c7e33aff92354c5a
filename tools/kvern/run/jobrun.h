// `kvern sort`, `merge`, `copy` and `check`: plans a session, runs it, and puts the engine's
// failures in the user's words.
//
// In this folder: what is done once the options are known.  Left to others: what a
// description means (syntax), who reads and writes (plan), single records (records), the
// calls of the engine (engine).  In order: the inputs opened, planjob, a job or a merge by
// groups, the statistics.
#pragma once

#include "kvern/options/joboptions.h"

namespace command {

// Throws failure or `stopped`.
void runjob(const joboptions &options);

} // namespace command
