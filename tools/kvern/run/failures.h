// What went wrong in the engine, in the user's words.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/options/joboptions.h"
#include "kvern/records/inputs.h"
#include "kvern/system/failure.h"

#include <vector>

namespace command {

failure translate(const enginefailure &what, const joboptions &options,
                  const std::vector<inputsource> &sources);

// What the detail of a stopped summation means: `lost` where the record at which it
// stopped is not in the output.
failure sumfailure(uint32_t detail, const joboptions &options, bool lost);

} // namespace command
