// What the environment says about the storage of a sort.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace cobsort {

struct settings {
    unsigned sessions;  // that sort side by side
    uint32_t memory;    // bytes of each
    std::string folder; // of temporary files, the run-time's
};

// For session records of so many bytes.  KVERN_SORT_MEMORY is the storage of all sessions
// together; by default each core that the process may use has one of the engine's greatest.
settings settingsfor(size_t recordbytes);
// A temporary file, if only an empty one.
bool cancreate();

} // namespace cobsort
