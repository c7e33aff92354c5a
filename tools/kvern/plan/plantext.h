// Text: how long lines and fields are, what a key has room for.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/records/inputs.h"

#include <vector>

namespace command {

void plantext(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan);

} // namespace command
