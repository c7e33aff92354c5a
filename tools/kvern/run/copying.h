// Copies that the command writes itself.  The engine copies from files to a file alone,
// so the data pass through two scratch files, some megabytes at a time.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/plan/jobplan.h"
#include "kvern/records/recordsink.h"

namespace command {

void copyportions(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan,
                  recordsink &out, uint32_t &sumstop);

} // namespace command
