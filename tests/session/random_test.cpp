// Random sessions against the reference model.
//
//   KVERN_SEED=n      first seed, each session has the next one; printed
//   KVERN_SESSIONS=n  sessions of the in-core group
//   KVERN_EXTERNAL=n  sessions of the group that overflows its storage
//   KVERN_SHOW=1      prints each session before it runs, to find one that crashes
//
// A failing session is cut down and printed with the seed that makes it again:
// KVERN_SEED=<that seed> KVERN_SESSIONS=1.
#include "model/model.h"
#include "support/generators.h"
#include "support/sessionrunner.h"

#include <chrono>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

#ifdef _WIN32
constexpr uint64_t default_sessions = 300;
constexpr uint64_t default_external = 200;
#else
constexpr uint64_t default_sessions = 3000;
constexpr uint64_t default_external = 300;
#endif

// What is wrong with a run of the session; empty: nothing.
std::string faultof(const sessionspec &spec) {
    tempfolder folder;
    const modelresult expected = sortbymodel(spec);
    const runresult got = run(spec, folder);
    const size_t files = (spec.filein() ? spec.inputs.size() : 0) +
                         (spec.fileout() && !spec.onto_input && got.detail == 0 ? 1 : 0);
    if (got.detail != expected.detail) {
        return "detail " + std::to_string(got.detail) + ", model " +
               std::to_string(expected.detail) + ": " + got.failed;
    }
    if (got.detail == 0 && !got.failed.empty())
        return got.failed;
    if (got.detail == 0) {
        const std::string wrong = difference(spec, expected, got.records);
        return wrong.empty() && folder.entries() != files ? "temporary files are left" : wrong;
    }
    return "";
}

void compare_with_model(const scale &size, uint64_t sessions) {
    const uint64_t clock =
        static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    const uint64_t seed = fromenvironment("KVERN_SEED", clock % 1000000007);
    std::printf("first seed %llu, %llu sessions\n", static_cast<unsigned long long>(seed),
                static_cast<unsigned long long>(sessions));
    uint64_t refused = 0, records = 0;
    for (uint64_t i = 0; i < sessions; ++i) {
        randomness r(seed + i);
        const sessionspec spec = randomsession(r, size);
        if (fromenvironment("KVERN_SHOW", 0) != 0) {
            std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed + i),
                        describe(spec).c_str());
            std::fflush(stdout);
        }
        records += spec.records();
        refused += sortbymodel(spec).detail != 0 ? 1U : 0U;
        const std::string fault = faultof(spec);
        if (fault.empty())
            continue;
        const sessionspec small =
            shrunk(spec, [](const sessionspec &s) { return !faultof(s).empty(); });
        FAIL() << "seed " << seed + i << ": " << fault
               << "\nsmallest failing session: " << faultof(small) << "\n"
               << describe(small);
    }
    std::printf("%llu records, %llu sessions with a record that lacks a field\n",
                static_cast<unsigned long long>(records), static_cast<unsigned long long>(refused));
    EXPECT_LT(refused * 10, sessions + 50) << "the generator makes too many failing sessions";
}

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
    compare_with_model({.maxrecords = 300}, fromenvironment("KVERN_SESSIONS", default_sessions));
}

TEST(random_sessions, external) {
    compare_with_model({.maxrecords = 40000, .external = true},
                       fromenvironment("KVERN_EXTERNAL", default_external));
}

} // namespace kvern::test
