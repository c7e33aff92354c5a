// Summation through the public calls: what is folded, what stops it, what the caller
// is told, and which records come out then.
#include "handmade.h"

#include <cstdio>
#include <gtest/gtest.h>

namespace kvern::test {
namespace {

using lines = std::vector<std::string>;

// The key is the first byte, or the first field.
struct summing : handmade {
    KVRNKEY keys = {};
    KVRNSUM sums = {};
    KVRNOPT opts = {};

    summing(uint32_t reclen, uint8_t type, uint32_t position, uint32_t length) {
        prim.reclen = reclen;
        prim.options = KVRN_SUM;
        prim.memsize = 0xFFFF;
        keys.count = sums.count = 1;
        keys.entry[0].length = 1;
        keys.entry[0].type = KVRN_CHAR;
        keys.entry[0].order = KVRN_ASCENDING;
        sums.entry[0] = {position, length, type, {}};
        opts.sum = &sums;
    }
    int open() { return kvrnopen(version, &link, &prim, &sess, &keys, &files, &opts); }

    // What comes out, one string for each call.
    lines run(const lines &records) {
        EXPECT_EQ(open(), 0);
        for (const std::string &record : records)
            if (put(record) != 0)
                return {};
        int last;
        return end() == 1 ? getall(&last) : lines{};
    }
};

TEST(summation, pairs) {
    // Forms: 'f' and 'v', text by columns 'c', by fields between commas 'n' or blanks 'w'.
    const struct {
        const char *what;
        char form;
        uint8_t delimiter;
        uint32_t reclen;
        uint8_t type;
        uint32_t position, length;
        lines in, out; // no lines out: as they came in
        uint32_t detail;
    } cases[] = {
        // clang-format off
        {"packed", 'f', 0, 4, KVRN_PACKED, 1, 2, {"A\x99\x8Cx", "A\x12\x3Dy"}, {"A\x87\x5Cx"}, 0},
        {"overflow", 'f', 0, 4, KVRN_PACKED, 1, 2, {"A\x99\x9Cx", "A\x09\x1Cy", "Abaz"}, {}, 115},
        {"no adder", 'f', 0, 4, KVRN_SLEBIN, 1, 2, {"Aabx", "Bbax", "Abax"}, {}, 250},
        {"none for characters", 'f', 0, 4, KVRN_CHARX, 1, 2, {"Aabx", "Abax"}, {}, 250},
        // The field's last byte is the third, the seventh with the length word.
        {"long enough", 'v', 0, 12, KVRN_UBEBIN, 1, 2, {"Aab1234", "A\x01\x01xyzw"}, {"Abc1234"}, 0},
        {"one byte short", 'v', 0, 12, KVRN_UBEBIN, 1, 2, {"Aab1234", "Aabxyz"}, {}, 116},
        {"the first is", 'v', 0, 12, KVRN_UBEBIN, 1, 2, {"Aab123", "Aabxyzw"}, {}, 116},
        {"columns", 'c', KVRN_DLMT_LF, 8, KVRN_CHAR, 1, 3, {"A 12\n", "A 88x\n"}, {"A100\n"}, 0},
        {"ends inside", 'c', KVRN_DLMT_LF, 8, KVRN_CHAR, 1, 3, {"A  1x\n", "A 1\n"}, {}, 116},
        {"no number", 'c', KVRN_DLMT_LF, 8, KVRN_CHAR, 1, 3, {"A 1 \n", "A  1\n", "B  2\n"}, {}, 241},
        {"grows", 'n', KVRN_DLMT_LF, 8, KVRN_CHAR, 1, 3, {"A,7,z\n", "A,5\n"}, {"A,012,z\n"}, 0},
        {"grows at the end", 'n', KVRN_DLMT_LF, 8, KVRN_CHAR, 1, 3, {"A,7\n", "A,5,z\n"}, {"A,012\n"}, 0},
        {"no room", 'n', KVRN_DLMT_LF, 7, KVRN_CHAR, 1, 3, {"A,7,z\n", "A,5\n"}, {}, 115},
        {"two of delimiter", 'n', KVRN_DLMT_CRLF, 9, KVRN_CHAR, 1, 3, {"A,7,z\r\n", "A,5\r\n"}, {"A,012,z\r\n"}, 0},
        {"no room for both", 'n', KVRN_DLMT_CRLF, 8, KVRN_CHAR, 1, 3, {"A,7,z\r\n", "A,5\r\n"}, {}, 115},
        {"cut", 'n', KVRN_DLMT_LF, 12, KVRN_CHAR, 1, 3, {"A,1234,z\n", "A,5678\n"}, {"A,6904,z\n"}, 0},
        {"no such field", 'n', KVRN_DLMT_LF, 12, KVRN_CHAR, 1, 3, {"A,1\n", "A\n"}, {}, 116},
        {"empty field", 'n', KVRN_DLMT_LF, 12, KVRN_CHAR, 1, 3, {"A,,z\n", "A,5\n"}, {}, 241},
        {"blanks in front", 'w', KVRN_DLMT_LF, 12, KVRN_CHAR, 1, 3, {"A   7 z\n", "A 5\n"}, {"A 012 z\n"}, 0},
        // clang-format on
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        summing s(c.reclen, c.type, c.position, c.length);
        s.prim.recform = c.form == 'f' ? KVRN_FIXED : KVRN_VARIABLE;
        s.prim.linedlmt = c.delimiter;
        if (c.form == 'c')
            s.prim.fieldmode = KVRN_COLUMNS;
        else if (c.form == 'n' || c.form == 'w')
            s.prim.fieldmode = KVRN_FIELDS;
        if (s.prim.fieldmode != 0) // a line in a block, for two bytes of delimiter
            s.prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_RECORD;
        s.prim.separator = c.form == 'n' ? "," : nullptr;
        const lines out = s.run(c.in);
        EXPECT_EQ(out, c.detail == 250 ? lines{} : c.out.empty() ? c.in : c.out);
        EXPECT_EQ(s.sess.detail, c.detail);
        EXPECT_EQ(s.close(), 0);
        EXPECT_EQ(s.sess.detail, c.detail); // a clean close leaves it, too
    }
}

// Three fields grow or overflow together or not at all; rows in any order.
TEST(summation, all_fields_or_none) {
    struct table {
        uint32_t count;
        KVRNSUME entry[3];
    } rows = {3, {{4, 2, KVRN_CHAR, {}}, {1, 3, KVRN_CHAR, {}}, {2, 1, KVRN_CHAR, {}}}};
    const struct {
        lines in, out;
    } cases[] = {
        {{"A,7,1,x,6,z\n", "A,8,1,y,5\n"}, {"A,015,2,x,11,z\n"}},
        {{"A,7,5,x,6,z\n", "A,8,5,y,5\n"}, {"A,7,5,x,6,z\n", "A,8,5,y,5\n"}},
    };
    for (const auto &c : cases) {
        summing s(15, KVRN_CHAR, 0, 0);
        s.opts.sum = reinterpret_cast<KVRNSUM *>(&rows);
        s.astext(KVRN_DLMT_LF);
        s.prim.fieldmode = KVRN_FIELDS;
        s.prim.separator = ",";
        EXPECT_EQ(s.run(c.in), c.out);
        EXPECT_EQ(s.close(), 0);
    }
}

// An external sort has no second look at a held record that finds the output block
// full just when summation stops: that record is lost, and the balance of counts
// tells.  A sort in core keeps it.
TEST(summation, held_record_without_room) {
    const auto records = [](uint32_t count, uint32_t twice) {
        lines all;
        for (uint32_t i = 0; i < count; i++) {
            char text[24];
            std::snprintf(text, sizeof text, "%04u\x99\x9C......", i);
            all.push_back(text);
        }
        if (twice < count)
            all.push_back(all[twice]);
        return all;
    };
    for (const uint32_t count : {1000u, 9000u}) { // in core, external
        const auto make = [](summing &s, uint8_t get) {
            s.keys.entry[0].length = 4;
            s.prim.recoprat = static_cast<uint8_t>(KVRN_PUT_RECORD | get);
        };
        summing blocks(12, KVRN_PACKED, 4, 2);
        make(blocks, KVRN_GET_BLOCK);
        const lines whole = blocks.run(records(count, count));
        ASSERT_GT(whole.size(), 1u);
        EXPECT_EQ(blocks.close(), 0);
        const auto perblock = static_cast<uint32_t>(whole[0].size() / 12);
        for (const uint32_t twice : {perblock - 1, perblock, perblock + 1}) {
            const bool lost = count == 9000 && twice == perblock;
            summing s(12, KVRN_PACKED, 4, 2);
            make(s, KVRN_GET_RECORD);
            EXPECT_EQ(s.run(records(count, twice)).size(), count + 1 - lost) << twice;
            EXPECT_EQ(s.sess.detail, 115u);
            EXPECT_EQ(s.close(), lost ? -1 : 0);
            EXPECT_EQ(s.sess.detail, lost ? 250u : 115u);
        }
    }
}

} // namespace
} // namespace kvern::test
