// Sessions run and held against the reference model.
#pragma once

#include "support/generators.h"
#include "support/sessionrunner.h"

namespace kvern::test {

// What the model has against the end of a run; empty: nothing.
[[nodiscard]] std::string judged(const sessionspec &spec, const runresult &got);
// What is wrong with a run of the session; empty: nothing.
[[nodiscard]] std::string faultof(const sessionspec &spec);

// Random sessions, the same ones every time unless KVERN_SEED names others; a failing
// one is cut down and printed.
void compare_with_model(const scale &size, uint64_t usual);

} // namespace kvern::test
