// String creation: counts on cases that can be counted by hand, and what lies on disk
// afterwards.
#include "sort/wbio.h"
#include "unit/externalsort.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr uint32_t slots = 40;
constexpr uint32_t entries = 2; // a WB then holds 8 records
constexpr uint32_t phasebytes = 1 << 16;

std::vector<uint64_t> keysof(uint32_t count, uint64_t (*key)(uint64_t at)) {
    std::vector<uint64_t> keys;
    for (uint32_t at = 0; at < count; ++at)
        keys.push_back(key(at));
    return keys;
}

// The data WBs in the order of the index chain, each as its records.
std::vector<std::vector<numbered>> datawbs(externalsort &sort) {
    std::vector<std::vector<numbered>> blocks;
    tempfile *file = sort.idxrootfile;
    platform::filepos place = sort.idxrootpos;
    uint32_t count = sort.idxrootcount;
    std::vector<uint8_t> index(sort.wbsize);
    std::vector<numbered> data(sort.recperwb);
    const auto read = [&](tempfile *from, platform::filepos at, void *to) {
        uint32_t got = 0;
        EXPECT_EQ(platform::seekfile(from->handle, at), 0u);
        EXPECT_EQ(platform::readfile(from->handle, to, sort.wbsize, &got), 0u);
        EXPECT_EQ(got, sort.wbsize);
    };
    while (file != nullptr) {
        read(file, place, index.data());
        for (uint32_t at = 1; at < count; ++at) {
            idxentry entry;
            std::memcpy(static_cast<void *>(&entry), &index[at * sort.idxentlen], sizeof entry);
            EXPECT_EQ(entry.kind, ek_data);
            read(entry.tempfile, entry.filepos, data.data());
            blocks.emplace_back(data.begin(), data.begin() + static_cast<ptrdiff_t>(entry.count));
            uint64_t key = 0;
            std::memcpy(&key, &index[at * sort.idxentlen + sizeof entry], sizeof key);
            EXPECT_EQ(key, data[0].key);
        }
        idxentry chain;
        std::memcpy(static_cast<void *>(&chain), index.data(), sizeof chain);
        EXPECT_EQ(chain.kind, ek_index);
        file = chain.tempfile;
        place = chain.filepos;
        count = chain.count;
    }
    return blocks;
}

} // namespace

TEST(stringmaker, counts_strings_and_blocks) {
    // k = 8: the limit is 40 - (8 + 1 - 64 / 40) = 32.
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
        // one record more than the slots: the lowest goes out, then 40 in memory less
        // the champion
        {"one more than fits", 41, [](uint64_t at) { return at; }, 2, 1 + 5},
        {"fills its last block", 88, [](uint64_t at) { return at; }, 2, 7 + 5},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        externalsort sort(slots, entries, phasebytes);
        const std::vector<numbered> records = recordsof(keysof(c.records, c.key));
        ASSERT_EQ(sort.frozenlimit, 32u);
        ASSERT_TRUE(sort.create(records));
        EXPECT_EQ(sort.stringcount, c.strings);
        EXPECT_EQ(sort.datawbcount, c.datawbs);
        EXPECT_EQ(sort.dataentries, c.datawbs);
        EXPECT_EQ(sort.phase, 1);
        EXPECT_EQ(sort.errdetail, 0u);

        std::vector<numbered> found;
        for (const std::vector<numbered> &block : datawbs(sort)) {
            EXPECT_FALSE(block.empty());
            EXPECT_TRUE(std::is_sorted(block.begin(), block.end(),
                                       [](auto &a, auto &b) { return a.key < b.key; }));
            found.insert(found.end(), block.begin(), block.end());
        }
        std::sort(found.begin(), found.end(), [](auto &a, auto &b) { return a.order < b.order; });
        EXPECT_EQ(found, records);
    }
}

TEST(stringmaker, drops_records_before_the_tree) {
    externalsort sort(slots, entries, phasebytes);
    sort.selectopt = 1;
    sort.selecteval = [](qha5ctx *, const uint8_t *raw) {
        uint64_t key = 0;
        std::memcpy(&key, raw, sizeof key);
        return key % 3 == 0 ? int32_t{sizeof(numbered)} : 0;
    };
    ASSERT_TRUE(sort.create(recordsof(keysof(130, [](uint64_t at) { return at; }))));
    EXPECT_EQ(sort.selectcount, 30u); // 42, 45, ... 129; those in the slots were not asked
    size_t records = 0;
    for (const std::vector<numbered> &block : datawbs(sort))
        records += block.size();
    EXPECT_EQ(records, 100u);
}

// Files of four blocks each: the strings wander from place to place, and a block that
// found no room is entered where it came to lie.
TEST(stringmaker, moves_on_when_a_file_is_full) {
    externalsort sort(slots, entries, phasebytes);
    sort.tempfilelimit = 4 * sort.wbsize;
    const std::vector<std::string> many(12, sort.folder.path());
    sort.setplaces(many, 'd');
    const std::vector<numbered> records = recordsof(keysof(100, [](uint64_t at) { return at; }));
    ASSERT_TRUE(sort.create(records));
    std::vector<numbered> found;
    for (const std::vector<numbered> &block : datawbs(sort))
        found.insert(found.end(), block.begin(), block.end());
    EXPECT_EQ(found.size(), records.size());
    // 13 data WBs and 13 index WBs of one entry each
    EXPECT_EQ(sort.tempcount, 7u);
    EXPECT_EQ(sort.errdetail, 0u);

    externalsort full(slots, entries, phasebytes);
    full.tempfilelimit = 4 * full.wbsize;
    EXPECT_FALSE(full.create(records));
    EXPECT_EQ(full.errdetail, KVRN_D_TEMPCREATE); // the list has come to its end
}

} // namespace kvern::test
