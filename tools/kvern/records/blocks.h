// Inputs of variable records in blocks: what can be told of them before a session.
#pragma once

#include "kvern/records/framing.h"
#include "kvern/records/inputs.h"

#include <vector>

namespace command {

// Throws where the first records of an input, read by rdw, hold nothing but further
// records: they are blocks, and to sort them would tear what belongs together.
void refuseblocks(std::vector<inputsource> &sources);

// Reads all inputs once, so that their largest block is known.
void measureblocks(std::vector<inputsource> &sources, const recordshape &shape);

} // namespace command
