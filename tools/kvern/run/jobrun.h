// `kvern sort`, `merge`, `copy` and `check`: plans a session, runs it, and puts the engine's
// failures in the user's words.
#pragma once

#include "kvern/options/joboptions.h"

namespace command {

// Throws failure or `stopped`.
void runjob(const joboptions &options);

} // namespace command
