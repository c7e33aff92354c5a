// Strings, block order and final merge of small sorts: counts that can be made by
// hand, every overflow and spill, files that fill up, damage.
#include "sort/blockorder.h"
#include "support/randomness.h"
#include "unit/externalsort.h"

#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr uint32_t slots = 40;
constexpr uint32_t plenty = 1 << 16;

std::vector<numbered> ascending(uint32_t count) {
    std::vector<numbered> records;
    for (uint64_t at = 0; at < count; ++at)
        records.push_back({at, at});
    return records;
}
std::vector<numbered> recordsin(uint32_t shape, uint32_t count, randomness &r) {
    std::vector<numbered> records = ascending(count);
    for (numbered &record : records)
        record.key = shape == 0   ? record.order
                     : shape == 1 ? count - record.order
                     : shape == 2 ? ~uint64_t{0} // as the sentinel's
                     : shape == 3 ? record.order % 97
                                  : r.bits();
    return records;
}

// The least storage for a merge of `width` strings.
uint32_t mergestorage(uint32_t entriesperwb, uint32_t width) {
    const uint32_t wbsize = entriesperwb * externalsort::entrybytes;
    const auto recperwb = static_cast<uint32_t>(wbsize / sizeof(numbered));
    return static_cast<uint32_t>(
        arenaround(mergeneed(externalsort::entrybytes, entriesperwb, wbsize, recperwb) +
                   (width - 2) * mergeblockbytes(wbsize, recperwb)));
}
// Storage for groups of index entries, the least being 3.
uint32_t orderstorage(uint32_t entriesperwb, uint32_t groups) {
    constexpr uint32_t placebytes = 3 * sizeof(void *);
    return 2 * externalsort::entrybytes + placebytes +
           groups * ((entriesperwb - 1) * externalsort::entrybytes + placebytes);
}

void checkoutput(const std::vector<numbered> &records, std::vector<numbered> out) {
    const auto bykey = [](auto &a, auto &b) { return a.key < b.key; };
    ASSERT_TRUE(std::is_sorted(out.begin(), out.end(), bykey));
    std::sort(out.begin(), out.end(), [](auto &a, auto &b) { return a.order < b.order; });
    ASSERT_EQ(out, records);
}

} // namespace

TEST(externalsort, counts_strings_and_blocks) {
    // A WB holds k = 8 records: the limit is 40 - (8 + 1 - 64 / 40) = 32.
    const struct {
        const char *what;
        uint32_t records;
        uint64_t (*key)(uint64_t at);
        uint32_t strings, datawbs;
    } cases[] = {
        // 61 leave through the tree (40 stay, the champion is out): 61 / 8 and 39 / 8
        {"ascending", 100, [](uint64_t at) { return at; }, 2, 8 + 5},
        // every record on the equal path, one string and the memory load
        {"equal", 100, [](uint64_t) { return uint64_t{7}; }, 2, 8 + 5},
        // 32 frozen at the records 72 and 104: strings of 32 (one of them the limit's
        // last champion), then one of the new champion alone, then 39
        {"descending to a limit", 72, [](uint64_t at) { return 1000 - at; }, 3, 4 + 1 + 5},
        {"one short of the limit", 71, [](uint64_t at) { return 1000 - at; }, 2, 4 + 5},
        {"descending to two", 104, [](uint64_t at) { return 1000 - at; }, 4, 4 + 4 + 1 + 5},
        // the lowest goes out, then 40 in memory less the champion
        {"one more than fits", 41, [](uint64_t at) { return at; }, 2, 1 + 5},
        {"fills its last block", 88, [](uint64_t at) { return at; }, 2, 7 + 5},
    };
    for (const auto &c : cases) {
        externalsort sort(slots, 2, plenty);
        std::vector<numbered> records = ascending(c.records);
        for (numbered &record : records)
            record.key = c.key(record.order);
        ASSERT_EQ(sort.frozenlimit, 32u);
        ASSERT_TRUE(sort.create(records));
        EXPECT_EQ(sort.stringcount, c.strings) << c.what;
        EXPECT_EQ(sort.datawbcount, c.datawbs) << c.what;
    }
}

TEST(externalsort, any_storage_and_any_order) {
    randomness r(2);
    uint64_t spilled = 0, moved = 0, overflows[3] = {};
    for (const uint32_t perwb : {2u, 3u, 5u})
        for (const uint32_t width : {2u, 3u, 9u})
            for (const uint32_t count : {25u, 60u, 400u, 1500u})
                for (uint32_t shape = 0; shape < 5; ++shape) {
                    SCOPED_TRACE(testing::Message() << "idxperwb " << perwb << " width " << width
                                                    << " records " << count << " shape " << shape);
                    externalsort sort(24, perwb, plenty);
                    const std::vector<numbered> records = recordsin(shape, count, r);
                    std::vector<numbered> out;
                    ASSERT_TRUE(sort.create(records));
                    const uint64_t bytes = sort.filebytes();
                    sort.sortfree = orderstorage(perwb, width + 1);
                    ASSERT_EQ(orderblocks(&sort), 0);
                    sort.sortfree = mergestorage(perwb, width);
                    ASSERT_TRUE(sort.merge(7, &out));
                    ASSERT_NO_FATAL_FAILURE(checkoutput(records, out));
                    EXPECT_GE(sort.mergewidth, 2u);
                    EXPECT_LE(sort.mergewidth, width);
                    EXPECT_TRUE(sort.mergewidth == sort.stringcount || !sort.fitsanother());
                    EXPECT_EQ(sort.blocksread, sort.datawbcount + sort.spillcount);
                    EXPECT_EQ(sort.mostbytes, bytes); // written only over what was read
                    EXPECT_EQ(sort.tempfiles, nullptr);
                    spilled += sort.spillcount;
                    moved += sort.recordsmoved;
                    for (const uint32_t pass : {0, 1, 2})
                        overflows[pass] += sort.idxspills[pass];
                }
    EXPECT_GT(spilled, 1000u);
    EXPECT_GT(moved, 10000u);
    for (const uint64_t count : overflows)
        EXPECT_GT(count, 100u);
}

// Files of four blocks each: a block that found no room is entered where it came to lie.
TEST(externalsort, moves_on_when_a_file_is_full) {
    const std::vector<numbered> records = ascending(100);
    std::vector<numbered> out;
    externalsort sort(slots, 2, plenty), full(slots, 2, plenty);
    sort.tempfilelimit = full.tempfilelimit = 4 * sort.wbsize;
    sort.setplaces(std::vector<std::string>(12, sort.folder.path()), 'd');
    ASSERT_TRUE(sort.create(records));
    EXPECT_EQ(sort.tempcount, 7u); // 13 data WBs and 13 index WBs of one entry each
    ASSERT_TRUE(orderblocks(&sort) == 0 && sort.merge(50, &out));
    checkoutput(records, out);
    EXPECT_FALSE(full.create(records));
    EXPECT_EQ(full.errdetail, KVRN_D_TEMPCREATE); // the list has come to its end
}

TEST(externalsort, too_little_storage_and_damage) {
    const std::vector<numbered> records = ascending(300);
    std::vector<numbered> out;
    externalsort order(slots, 4, plenty), merge(slots, 4, plenty), damaged(slots, 4, plenty);
    ASSERT_TRUE(order.create(records) && merge.create(records) && damaged.create(records));
    order.sortfree = orderstorage(4, 2);
    EXPECT_EQ(orderblocks(&order), -1);
    EXPECT_EQ(order.errdetail, KVRN_D_LOGIC);

    ASSERT_EQ(orderblocks(&merge), 0);
    merge.sortfree = 4 * externalsort::entrybytes;
    EXPECT_EQ(setupmerge(&merge), -1);
    // One block alone spills what it holds.
    merge.sortfree = mergestorage(4, 2) - static_cast<uint32_t>(sizeof(void *));
    ASSERT_TRUE(merge.merge(50, &out));
    EXPECT_EQ(merge.mergewidth, 1u);
    checkoutput(records, out);

    const std::vector<uint8_t> rubbish(damaged.wbsize, 0xEE);
    ASSERT_EQ(orderblocks(&damaged), 0);
    const platform::filehandle file = damaged.tempfiles->handle;
    ASSERT_EQ(platform::writeat(file, 0, rubbish.data(), damaged.wbsize).error, 0u);
    EXPECT_FALSE(damaged.merge(50, &out));
    EXPECT_EQ(damaged.errdetail, KVRN_D_LOGIC);
}

} // namespace kvern::test
