// The final merge of small sorts: width, spills, moves, groups of index entries that
// come due, slices of output.
#include "sort/blockorder.h"
#include "support/randomness.h"
#include "unit/externalsort.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr uint32_t slots = 24;

uint32_t storagefor(uint32_t entriesperwb, uint32_t width) {
    const uint32_t wbsize = entriesperwb * externalsort::entrybytes;
    const auto recperwb = static_cast<uint32_t>(wbsize / sizeof(numbered));
    const uint64_t need = mergeneed(externalsort::entrybytes, entriesperwb, wbsize, recperwb) +
                          (width - 2) * mergeblockbytes(wbsize, recperwb);
    return static_cast<uint32_t>(arenaround(need));
}

std::vector<uint64_t> keysin(uint32_t count, uint32_t shape, randomness &r) {
    std::vector<uint64_t> keys;
    for (uint64_t at = 0; at < count; ++at)
        keys.push_back(shape == 0   ? at
                       : shape == 1 ? count - at
                       : shape == 2 ? ~uint64_t{0} // as the sentinel's
                       : shape == 3 ? at % 2
                       : shape == 4 ? at % 97
                                    : r.bits());
    return keys;
}

// Bytewise order of the keys as the engine has it.
void checkoutput(const std::vector<numbered> &records, std::vector<numbered> out) {
    ASSERT_TRUE(
        std::is_sorted(out.begin(), out.end(), [](auto &a, auto &b) { return a.key < b.key; }));
    std::sort(out.begin(), out.end(), [](auto &a, auto &b) { return a.order < b.order; });
    ASSERT_EQ(out, records);
}

} // namespace

TEST(finalmerge, any_width_and_any_order) {
    randomness r(2);
    uint64_t spilled = 0, expanded = 0, moved = 0;
    for (uint32_t perwb : {2u, 3u, 5u})
        for (uint32_t width : {2u, 3u, 4u, 9u})
            for (uint32_t count : {25u, 60u, 400u, 1500u})
                for (uint32_t shape = 0; shape < 6; ++shape) {
                    SCOPED_TRACE("idxperwb " + std::to_string(perwb) + " width " +
                                 std::to_string(width) + " records " + std::to_string(count) +
                                 " shape " + std::to_string(shape));
                    externalsort sort(slots, perwb,
                                      std::max(storagefor(perwb, width), 1000 + 300 * perwb));
                    const std::vector<numbered> records = recordsof(keysin(count, shape, r));
                    ASSERT_TRUE(sort.create(records));
                    ASSERT_EQ(orderblocks(&sort), 0);
                    const uint64_t bytes = sort.filebytes();
                    sort.sortfree = storagefor(perwb, width);
                    std::vector<numbered> out;
                    ASSERT_TRUE(sort.merge(7, &out));
                    ASSERT_NO_FATAL_FAILURE(checkoutput(records, out));
                    EXPECT_GE(sort.mergewidth, 2u);
                    EXPECT_LE(sort.mergewidth, width);
                    EXPECT_EQ(sort.blocksread, sort.datawbcount + sort.spillcount);
                    if (sort.mergewidth == sort.stringcount) {
                        EXPECT_EQ(sort.spillcount + sort.recordsmoved, 0u);
                    }
                    EXPECT_EQ(sort.tempfiles, nullptr);
                    EXPECT_EQ(sort.errdetail, 0u);
                    EXPECT_EQ(sort.mostbytes, bytes);
                    spilled += sort.spillcount;
                    expanded += sort.idxspills[2];
                    moved += sort.recordsmoved;
                }
    EXPECT_GT(spilled, 1000u);
    EXPECT_GT(expanded, 1000u);
    EXPECT_GT(moved, 10000u);
}

TEST(finalmerge, one_block_alone_spills_what_it_holds) {
    externalsort sort(slots, 4, 8000);
    randomness r(3);
    const std::vector<numbered> records = recordsof(keysin(900, 5, r));
    ASSERT_TRUE(sort.create(records));
    ASSERT_EQ(orderblocks(&sort), 0);
    sort.sortfree = storagefor(4, 2) - static_cast<uint32_t>(sizeof(void *));
    std::vector<numbered> out;
    ASSERT_TRUE(sort.merge(50, &out));
    EXPECT_EQ(sort.mergewidth, 1u);
    checkoutput(records, out);
}

TEST(finalmerge, too_little_storage_fails) {
    externalsort sort(slots, 4, 8000);
    randomness r(4);
    ASSERT_TRUE(sort.create(recordsof(keysin(300, 5, r))));
    ASSERT_EQ(orderblocks(&sort), 0);
    sort.sortfree = 4 * externalsort::entrybytes;
    EXPECT_EQ(setupmerge(&sort), -1);
}

TEST(finalmerge, a_damaged_first_key_is_told) {
    externalsort sort(slots, 3, 8000);
    randomness r(6);
    ASSERT_TRUE(sort.create(recordsof(keysin(300, 5, r))));
    const std::vector<uint8_t> rubbish(sort.wbsize, 0xEE);
    ASSERT_EQ(orderblocks(&sort), 0);
    uint32_t count = 0;
    ASSERT_EQ(platform::seekfile(sort.tempfiles->handle, 0), 0u);
    ASSERT_EQ(platform::writefile(sort.tempfiles->handle, rubbish.data(), sort.wbsize, &count), 0u);
    std::vector<numbered> out;
    EXPECT_FALSE(sort.merge(50, &out));
    EXPECT_EQ(sort.errdetail, KVRN_D_LOGIC);
}

} // namespace kvern::test
