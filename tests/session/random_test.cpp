// Random sessions against the reference model; docs/testing.md tells how to choose them.
#include "support/modelcheck.h"

#include <gtest/gtest.h>

namespace kvern::test {

namespace {

// Wrong code of each kind that was tried out was found by 400 sorts, 60 external ones,
// 300 merges and 200 copies.
#ifdef _WIN32
constexpr uint64_t sorts = 300, externals = 200, merges = 300, copies = 200;
#else
constexpr uint64_t sorts = 3000, externals = 1000, merges = 2000, copies = 1000;
#endif

} // namespace

// All 256 values at either end of a field, for every type, code and table.
TEST(all_bytes, in_every_type_and_code) {
    sessionspec spec;
    spec.reclen = 2;
    spec.inputs.resize(1);
    keyspec key{0, 2};
    for (int b = 0; b < 256; ++b) {
        spec.inputs[0].push_back({static_cast<char>(b), '1'});
        spec.inputs[0].push_back({'1', static_cast<char>(b)});
        key.table += static_cast<char>(b ^ 0x5A);
    }
    for (const int type :
         {161, 162, 163, 164, 165, 166, 167, 173, 175, 177, 193, 194, 195, 196, 197, 198, 199, 202})
        for (const int cdmode : {236, 237, 238, 239})
            for (spec.altmode = 0; spec.altmode < 3; ++spec.altmode) {
                spec.cdmode = static_cast<uint8_t>(cdmode);
                key.type = static_cast<uint8_t>(type);
                key.order = static_cast<uint8_t>(key.order ^ KVRN_ASCENDING ^ KVRN_DESCENDING);
                spec.keys = {key};
                ASSERT_EQ(faultof(spec), "") << describe(spec);
            }
}

TEST(random_sessions, in_core) {
    compare_with_model({.maxrecords = 300}, sorts);
}

TEST(random_sessions, in_core_by_the_ten_thousands) {
    compare_with_model({.maxrecords = 60000}, externals / 5);
}

TEST(random_sessions, merges) {
    compare_with_model({.maxrecords = 2000, .function = KVRN_MERGE}, merges);
}

TEST(random_sessions, copies) {
    compare_with_model({.maxrecords = 2000, .function = KVRN_COPY}, copies);
}

TEST(random_sessions, external) {
    compare_with_model({.maxrecords = 40000, .external = true}, externals);
}

// Keys so long that the first keys of all blocks have no room in memory either.
TEST(external, long_keys) {
    sessionspec spec;
    spec.reclen = 300;
    spec.keys = {{0, 300}};
    spec.memsize = KVRN_MEM_MIN;
    spec.external = true;
    spec.inputs.resize(1);
    for (randomness r(1); spec.inputs[0].size() < 20000;)
        spec.inputs[0].push_back(bytes(4, r.byte()) + bytes(296, r.byte()));
    EXPECT_EQ(faultof(spec), "");
}

} // namespace kvern::test
