// --explain: what would run, on standard output.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/plan/storage.h"
#include "kvern/records/inputs.h"

#include <vector>

namespace command {

// The engine looks at the description too, with nothing to read or write; throws what
// it refuses.
void explainjob(const joboptions &options, const std::vector<inputsource> &sources,
                const jobplan &plan, const storageplan &storage);

} // namespace command
