// A platform layer that fails the operation it is told to fail, and counts what
// the engine took and did not give back.
#pragma once

#include <cstdint>

namespace kvern::test {

enum class fault : uint8_t {
    error,    // the operation does nothing and fails with a device error
    diskfull, // writes: nothing goes out, the disk is full
    torn,     // writes: half goes out, then the disk is full
};

struct faultplan {
    uint64_t fail_at = 0; // number of the operation, from 1; 0: none
    uint64_t fail_to = 0; // last one that fails; below fail_at: that one alone
    fault kind = fault::error;
};

// Starts counting anew.
void arm(const faultplan &plan);
// Operations since then that the plan's kind could have failed.
[[nodiscard]] uint64_t operations();
// Handles, descriptors and allocations that are held now.
[[nodiscard]] int64_t held();

} // namespace kvern::test
