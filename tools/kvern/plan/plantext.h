// Text: how long lines and fields are, what a key has room for.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/records/inputs.h"

#include <vector>

namespace command {

// On so many threads.
void plantext(const joboptions &options, std::vector<inputsource> &sources, unsigned jobs,
              jobplan &plan);

} // namespace command
