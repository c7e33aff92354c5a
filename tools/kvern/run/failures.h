// What went wrong in the engine, in the user's words.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/system/failure.h"

namespace command {

// May look through the inputs again, for the record that is at fault.
failure translate(const enginefailure &what, const joboptions &options, const jobplan &plan,
                  std::vector<inputsource> &sources);

// What the detail of a stopped summation means: `lost` where the record at which it
// stopped is not in the output.
failure sumfailure(uint32_t detail, const joboptions &options, bool lost);

} // namespace command
