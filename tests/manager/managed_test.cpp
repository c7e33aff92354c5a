// Files of the file manager beside all others: random sessions against the reference model.
#include "support/modelcheck.h"

#include <gtest/gtest.h>

namespace kvern::test {

TEST(managed, random_sessions) {
#ifdef _WIN32
    constexpr uint64_t sessions = 50;
#else
    constexpr uint64_t sessions = 200;
#endif
    for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY})
        compare_with_model({.maxrecords = 300, .function = function, .managed = true}, sessions);
    compare_with_model({.maxrecords = 4000, .external = true, .managed = true}, sessions / 10);
}

} // namespace kvern::test
