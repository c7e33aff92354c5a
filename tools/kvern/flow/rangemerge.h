// A merge in ranges of keys, each by a session of its own over slices of the inputs.
#pragma once

#include "kvern/flow/flowjob.h"
#include "kvern/flow/mergecuts.h"

namespace command {

// Throws what is wrong with one of the ranges.
void mergeranges(const flowjob &job, const mergecuts &cuts, unsigned threads);

} // namespace command
