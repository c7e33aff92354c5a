// Text: how long lines and fields are, what a key has room for.
#pragma once

#include "kvern/engine/watch.h"
#include "kvern/plan/jobplan.h"
#include "kvern/records/inputs.h"

#include <vector>

namespace command {

struct textjob {
    const joboptions &options;
    std::vector<inputsource> &sources;
    unsigned jobs; // threads
    watch &seen;
};
void plantext(const textjob &job, jobplan &plan);

} // namespace command
