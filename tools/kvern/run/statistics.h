// --stats: what a run did, on standard error, as text or as one JSON object.
#pragma once

#include "kvern/engine/watch.h"
#include "kvern/options/joboptions.h"

namespace command {

struct runfacts {
    jobkind kind;
    uint64_t header, shorts; // records
    uint64_t bytesread, byteswritten;
};

void printstatistics(const std::string &form, const runfacts &facts, const watch &seen);

} // namespace command
