// The packed corpus of the fuzz target as an ordinary test, for compilers without it.
// The program ends at a finding; the last number printed is that of the input, which
// `scripts/corpus.py unpack` names by it.
#include "support/tempfolder.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

TEST(fuzz, corpus_has_no_finding) {
    const std::string pack = kvern::test::readfile(KVERN_SOURCE_DIR "/tests/fuzz/session.pack");
    const auto at = [&](size_t i) { return static_cast<uint8_t>(pack.at(i)); };
    int count = 0;
    for (size_t next = 0; next < pack.size(); ++count) {
        const size_t length = at(next) + at(next + 1) * size_t{256};
        ASSERT_LE(next += 2, pack.size() - length) << "a pack that is cut off";
        std::printf("%04d\n", count);
        std::fflush(stdout);
        // Memory of exactly the input's size: a read past it shows.
        const std::vector<uint8_t> input(pack.begin() + static_cast<ptrdiff_t>(next),
                                         pack.begin() + static_cast<ptrdiff_t>(next + length));
        EXPECT_EQ(LLVMFuzzerTestOneInput(input.data(), input.size()), 0);
        next += length;
    }
    EXPECT_GE(count, 20);
}
