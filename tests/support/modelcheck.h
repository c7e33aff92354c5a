// Sessions run and held against the reference model.
#pragma once

#include "support/generators.h"

namespace kvern::test {

// What is wrong with a run of the session; empty: nothing.
[[nodiscard]] std::string faultof(const sessionspec &spec);

// Random sessions, from a seed of the clock or of KVERN_SEED; a failing one is cut down
// and printed.
void compare_with_model(const scale &size, uint64_t sessions);

} // namespace kvern::test
