// The directories that the engine is to make temporary files in.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace command {

// Where a file has 4 GiB at most, the engine needs one after the other: it makes one for
// each entry of its list.  `given`: those of -T, without them the default place.  `memory`
// is the working storage, of which a long list would take too much.
std::vector<std::string> workplaces(const std::vector<std::string> &given, uint32_t memory,
                                    bool narrow = sizeof(void *) == 4);

} // namespace command
