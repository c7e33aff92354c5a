// Ordering of index entries: every entry once and in order, for lists that hold all
// and lists that overflow in either pass; nothing is written but over what was read.
#include "sort/blockindex.h"
#include "sort/blockorder.h"
#include "sort/wbio.h"
#include "support/randomness.h"
#include "unit/externalsort.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

// Bytes for groups of idxperwb - 1 entries, the least being 3.
uint32_t storagefor(uint32_t entriesperwb, uint32_t groups) {
    constexpr uint32_t placebytes = 3 * sizeof(void *);
    return 2 * externalsort::entrybytes + placebytes +
           groups * ((entriesperwb - 1) * externalsort::entrybytes + placebytes);
}

struct ordering : externalsort {
    ordering(uint32_t entriesperwb, uint32_t groups)
        : externalsort(8, entriesperwb, storagefor(entriesperwb, groups)) {}

    // An index of made-up data WBs; `count` tells one from the other.
    bool build(const std::vector<uint64_t> &keys) {
        tempfilelimit = ~platform::filepos{0};
        if (newtempfile(this) != 0 || openindex(this) != 0)
            return false;
        std::vector<uint8_t> data(wbsize);
        blockhdr made{};
        made.first = data.data();
        made.file = tempfiles;
        for (const uint64_t key : keys) {
            std::memcpy(data.data(), &key, sizeof key);
            ++made.count;
            if (addentry(this, &made) != 0)
                return false;
        }
        return drain(this) == 0;
    }

    struct found {
        uint64_t key;
        uint32_t count;
    };
    // Walks the ordered chain from the root.
    std::vector<found> walk() {
        std::vector<found> entries;
        std::vector<uint8_t> index(wbsize);
        tempfile *file = idxrootfile;
        platform::filepos place = idxrootpos;
        for (uint32_t count = idxrootcount; count != 0;) {
            uint32_t got = 0;
            EXPECT_LE(count, idxperwb);
            EXPECT_EQ(platform::seekfile(file->handle, place), 0u);
            EXPECT_EQ(platform::readfile(file->handle, index.data(), wbsize, &got), 0u);
            const uint32_t here = count;
            count = 0;
            for (uint32_t at = 0; at < here; ++at) {
                idxentry entry;
                uint64_t key = 0;
                std::memcpy(static_cast<void *>(&entry), &index[at * idxentlen], sizeof entry);
                std::memcpy(&key, &index[at * idxentlen + sizeof entry], sizeof key);
                if (entry.kind == ek_data) {
                    entries.push_back({key, entry.count});
                    continue;
                }
                EXPECT_EQ(entry.kind, ek_index);
                EXPECT_EQ(at, here - 1) << "an x entry ends its WB";
                chainkeys.push_back(key);
                chainstarts.push_back(entries.size());
                file = entry.tempfile;
                place = entry.filepos;
                count = entry.count;
            }
        }
        return entries;
    }
    std::vector<uint64_t> chainkeys{};
    std::vector<size_t> chainstarts{};
};

std::vector<uint64_t> keysin(uint32_t count, uint32_t shape, randomness &r) {
    std::vector<uint64_t> keys;
    for (uint64_t at = 0; at < count; ++at)
        keys.push_back(shape == 0   ? at
                       : shape == 1 ? count - at
                       : shape == 2 ? 5
                       : shape == 3 ? at % 7 * 100 + at / 7 // strings
                       : shape == 4 ? r.below(4) * ~uint64_t{0} / 3
                                    : r.bits());
    return keys;
}

void checkorder(ordering &sort, std::vector<uint64_t> keys) {
    ASSERT_TRUE(sort.build(keys));
    const uint64_t before = sort.filebytes();
    ASSERT_EQ(orderblocks(&sort), 0);
    EXPECT_EQ(sort.filebytes(), before);
    EXPECT_TRUE(allidle(&sort));
    const auto entries = sort.walk();
    ASSERT_EQ(entries.size(), keys.size());
    std::vector<bool> seen(keys.size() + 1);
    uint64_t last = 0;
    for (const ordering::found &entry : entries) {
        ASSERT_EQ(entry.key, keys[entry.count - 1]);
        ASSERT_FALSE(seen[entry.count]);
        seen[entry.count] = true;
        ASSERT_GE(entry.key, last);
        last = entry.key;
    }
    for (size_t at = 0; at < sort.chainkeys.size(); ++at)
        EXPECT_EQ(sort.chainkeys[at], entries[sort.chainstarts[at]].key);
}

} // namespace

TEST(blockorder, any_number_of_entries_in_any_order) {
    randomness r(1);
    uint32_t overflows[2] = {};
    for (uint32_t perwb : {2u, 3u, 4u, 5u, 8u, 13u, 20u})
        for (uint32_t groups : {3u, 4u, 50u})
            for (uint32_t count :
                 {1u, perwb - 1, perwb, perwb + 1, 2 * perwb - 2, 2 * perwb - 1, 3 * (perwb - 1),
                  3 * (perwb - 1) + 1, 4 * perwb, 13 * perwb, 40 * perwb + 1})
                for (uint32_t shape = 0; shape < 6; ++shape) {
                    SCOPED_TRACE("idxperwb " + std::to_string(perwb) + " groups " +
                                 std::to_string(groups) + " entries " + std::to_string(count) +
                                 " shape " + std::to_string(shape));
                    ordering sort(perwb, groups);
                    ASSERT_NO_FATAL_FAILURE(checkorder(sort, keysin(count, shape, r)));
                    EXPECT_EQ(sort.idxoverflow != 0, count > (perwb - 1) * groups);
                    for (uint32_t pass = 0; pass < 2; ++pass)
                        overflows[pass] += sort.idxspills[pass];
                }
    EXPECT_GT(overflows[0], 100u);
    EXPECT_GT(overflows[1], 100u);
}

TEST(blockorder, of_equal_keys_the_later_comes_later_in_the_chain) {
    ordering sort(20, 50);
    ASSERT_TRUE(sort.build({7, 3, 7, 3, 7}));
    ASSERT_EQ(orderblocks(&sort), 0);
    std::vector<uint32_t> counts;
    for (const ordering::found &entry : sort.walk())
        counts.push_back(entry.count);
    // the list falls and a later equal goes in front, so the rising chain has it last
    EXPECT_EQ(counts, (std::vector<uint32_t>{2, 4, 1, 3, 5}));
}

TEST(blockorder, too_little_storage_is_a_fault) {
    ordering sort(4, 2);
    ASSERT_TRUE(sort.build({3, 2, 1}));
    EXPECT_EQ(orderblocks(&sort), -1);
    EXPECT_EQ(sort.errdetail, KVRN_D_LOGIC);
}

} // namespace kvern::test
