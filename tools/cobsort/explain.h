// What a sort says about itself, where KVERN_SORT_EXPLAIN asks for it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace cobsort {

bool explained();

// One line on standard error.  `whynot`: why `who` did it, and not Kvern; empty: Kvern did.
void tellsort(const char *what, const char *who, const std::string &whynot, uint64_t in,
              uint64_t out, std::chrono::steady_clock::time_point begun);

constexpr const char *uncleankey = "a key holds what is no value of its type";

} // namespace cobsort
