// --explain: what would run, on standard output.
#pragma once

#include "kvern/plan/jobplan.h"

namespace command {

// The engine looks at the description too, with nothing to read or write; throws what
// it refuses.
void explainjob(const joboptions &options, const std::vector<inputsource> &sources,
                const jobplan &plan);

} // namespace command
