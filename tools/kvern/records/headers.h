// The first records of inputs, which stay out of the job.
#pragma once

#include "kvern/records/framing.h"
#include "kvern/records/inputs.h"

#include <string>
#include <vector>

namespace command {

// So many records of each source, which begins behind them from now on; returns those of
// the first one as they stand.
std::string takeheaders(std::vector<inputsource> &sources, const recordshape &shape,
                        uint32_t records);

} // namespace command
