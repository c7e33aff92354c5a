// --stats: what a run did, on standard error, as text or as one JSON object.
#pragma once

#include "kvern/flow/flowjob.h"

namespace command {

// Of a run that has ended, `done` where all went well; otherwise as far as it came.
void printstatistics(const flowjob &job, bool done);

} // namespace command
