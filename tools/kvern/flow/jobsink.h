// The output of a job in the order of its records, framed.
#pragma once

#include "kvern/flow/flowjob.h"
#include "kvern/records/recordsink.h"

#include <algorithm>

namespace command {

// Bytes of the blocks of the output, as they are known now.
inline uint32_t blocksize(const flowjob &job) {
    uint32_t largest = job.options.blocksize;
    for (const inputsource &source : job.sources)
        if (job.options.blocksize == 0)
            largest = std::max(largest, source.largestblock());
    return largest == 0 ? longestblock : largest;
}

inline recordsink sinkof(const flowjob &job) {
    return {[&job](const void *data, size_t length) { job.target->write(data, length); },
            job.plan.shape, [&job] { return blocksize(job); }, job.options.blocksize != 0};
}

} // namespace command
