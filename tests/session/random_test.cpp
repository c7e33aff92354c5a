// Random sessions against the reference model.
//
//   KVERN_SEED=n      first seed, each session has the next one; without it the same
//                     sessions run every time, so that one who changes something sees
//                     the fault of his own change.  KVERN_SEED=$(date +%s) searches.
//   KVERN_SESSIONS=n  sessions of each group that --gtest_filter lets run
//   KVERN_SHOW=1      prints each session before it runs, to find one that crashes
//
// A failing session is cut down and printed with the seed that makes it again:
// KVERN_SEED=<that seed> KVERN_SESSIONS=1.
#include "support/modelcheck.h"
#include "support/randomness.h"

#include <gtest/gtest.h>

namespace kvern::test {

namespace {

// Wrong code of each kind that was tried out was found by 400 sorts, 60 external ones,
// 300 merges and 200 copies.
#ifdef _WIN32
constexpr uint64_t default_sessions = 300;
constexpr uint64_t default_external = 200;
constexpr uint64_t default_merges = 300;
constexpr uint64_t default_copies = 200;
#else
constexpr uint64_t default_sessions = 3000;
constexpr uint64_t default_external = 1000;
constexpr uint64_t default_merges = 2000;
constexpr uint64_t default_copies = 1000;
#endif

} // namespace

// All 256 values at either end of a field, for every type, code and table.
TEST(all_bytes, in_every_type_and_code) {
    constexpr uint8_t types[] = {161, 162, 163, 164, 165, 166, 167, 173, 175,
                                 177, 193, 194, 195, 196, 197, 198, 199, 202};
    sessionspec spec;
    spec.reclen = 2;
    spec.inputs.resize(1);
    for (int b = 0; b < 256; ++b) {
        spec.inputs[0].push_back({static_cast<char>(b), '1'});
        spec.inputs[0].push_back({'1', static_cast<char>(b)});
    }
    for (const uint8_t type : types) {
        for (uint8_t variant = 0; variant < 6; ++variant) {
            spec.cdmode = static_cast<uint8_t>(variant < 3 ? 236 : 234 + variant);
            for (spec.altmode = 0; spec.altmode < 3; ++spec.altmode) {
                keyspec key{0, 2, type};
                key.order = variant % 2 == 0 ? KVRN_ASCENDING : KVRN_DESCENDING;
                for (int b = 0; b < 256; ++b)
                    key.table += static_cast<char>(b ^ 0x5A);
                spec.keys = {key};
                ASSERT_EQ(faultof(spec), "") << describe(spec);
            }
        }
    }
}

TEST(all_bytes, in_text) {
    sessionspec spec;
    spec.form = 'r';
    spec.linedlmt = KVRN_DLMT_CR;
    spec.reclen = 5;
    spec.inputs.resize(1);
    for (int b = 0; b < 256; ++b) {
        for (const bytes &line : {bytes(1, static_cast<char>(b)), bytes{'1', static_cast<char>(b)},
                                  bytes{static_cast<char>(b), '1', '\x81', static_cast<char>(b)}})
            if (b != '\r')
                spec.inputs[0].push_back(line);
    }
    for (unsigned option = 0; option < 128; option += 3) {
        spec.altmode = static_cast<uint8_t>(option % 3);
        spec.fieldmode = option % 5 == 0 ? KVRN_FIELDS : KVRN_COLUMNS;
        for (const keyspec &key :
             {keyspec{0, 4}, keyspec{0, 4, KVRN_CHARX}, keyspec{0, 4, KVRN_CHAR, 32, 0, 2}}) {
            spec.keys = {key};
            spec.keys[0].textoption = static_cast<uint8_t>(option);
            ASSERT_EQ(faultof(spec), "") << describe(spec);
        }
    }
}

TEST(random_sessions, in_core) {
    compare_with_model({.maxrecords = 300}, default_sessions);
}

TEST(random_sessions, in_core_by_the_ten_thousands) {
    compare_with_model({.maxrecords = 60000}, default_external / 5);
}

TEST(random_sessions, merges) {
    compare_with_model({.maxrecords = 2000, .function = KVRN_MERGE}, default_merges);
}

TEST(random_sessions, copies) {
    compare_with_model({.maxrecords = 2000, .function = KVRN_COPY}, default_copies);
}

TEST(random_sessions, external) {
    compare_with_model({.maxrecords = 40000, .external = true}, default_external);
}

} // namespace kvern::test
