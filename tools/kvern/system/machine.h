// What the machine offers this process, as far as the system tells.
#pragma once

#include <cstdint>
#include <string>

namespace command {

struct machinefacts {
    unsigned cores = 1;              // that it may use: its affinity and its group's quota
    uint64_t memory = UINT64_MAX;    // bytes, or its group's limit of them
    uint64_t addresses = UINT64_MAX; // bytes that it can have in its address space
};

// `root`: stands in front of the system's own paths.
machinefacts inspectmachine(const std::string &root = "");

} // namespace command
