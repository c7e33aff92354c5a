// Summation through the public calls: what is folded, what stops it, what the caller
// is told, and which records come out then.
#include "handmade.h"

#include <cstdio>

namespace kvern::test {
namespace {

constexpr uint8_t lf = KVRN_DLMT_LF, crlf = KVRN_DLMT_CRLF;

// Forms: 'f' and 'v', text by columns 'c', by fields between commas 'n' or blanks 'w'.
void useform(handmade &s, char form, uint8_t delimiter, uint32_t reclen) {
    s.prim.reclen = reclen;
    s.prim.recform = form == 'f' ? KVRN_FIXED : KVRN_VARIABLE;
    s.prim.separator = form == 'n' ? "," : nullptr;
    s.prim.memsize = KVRN_MEM_MIN;
    if (form == 'f' || form == 'v')
        return;
    s.astext(delimiter, form == 'c' ? KVRN_COLUMNS : KVRN_FIELDS);
    s.prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_RECORD; // for two bytes of delimiter
}

// The key is the first byte, or the first field.
TEST(summation, pairs) {
    using sums = std::vector<KVRNSUME>;
    const sums packed = {{1, 2, KVRN_PACKED, {}}}, binary = {{1, 2, KVRN_UBEBIN, {}}},
               text = {{1, 3, KVRN_CHAR, {}}}, little = {{1, 2, KVRN_SLEBIN, {}}},
               characters = {{1, 2, KVRN_CHARX, {}}},
               three = {{4, 2, KVRN_CHAR, {}}, {1, 3, KVRN_CHAR, {}}, {2, 1, KVRN_CHAR, {}}};
    const struct {
        const char *what;
        char form;
        uint8_t delimiter;
        uint32_t reclen;
        const sums &fields;
        strings in, out; // no lines out: as they came in
        uint32_t detail;
    } cases[] = {
        // clang-format off
        {"packed", 'f', 0, 4, packed, {"A\x99\x8Cx", "A\x12\x3Dy"}, {"A\x87\x5Cx"}, 0},
        {"overflow", 'f', 0, 4, packed, {"A\x99\x9Cx", "A\x09\x1Cy", "Abaz"}, {}, 115},
        {"no adder", 'f', 0, 4, little, {"Aabx", "Bbax", "Abax"}, {}, 250},
        {"none for characters", 'f', 0, 4, characters, {"Aabx", "Abax"}, {}, 250},
        // The field's last byte is the third, the seventh with the length word.
        {"long enough", 'v', 0, 12, binary, {"Aab1234", "A\x01\x01xyzw"}, {"Abc1234"}, 0},
        {"one byte short", 'v', 0, 12, binary, {"Aab1234", "Aabxyz"}, {}, 116},
        {"the first is", 'v', 0, 12, binary, {"Aab123", "Aabxyzw"}, {}, 116},
        {"columns", 'c', lf, 8, text, {"A 12\n", "A 88x\n"}, {"A100\n"}, 0},
        {"ends inside", 'c', lf, 8, text, {"A  1x\n", "A 1\n"}, {}, 116},
        {"no number", 'c', lf, 8, text, {"A 1 \n", "A  1\n", "B  2\n"}, {}, 241},
        {"grows", 'n', lf, 8, text, {"A,7,z\n", "A,5\n"}, {"A,012,z\n"}, 0},
        {"grows at the end", 'n', lf, 8, text, {"A,7\n", "A,5,z\n"}, {"A,012\n"}, 0},
        {"no room", 'n', lf, 7, text, {"A,7,z\n", "A,5\n"}, {}, 115},
        {"two of delimiter", 'n', crlf, 9, text, {"A,7,z\r\n", "A,5\r\n"}, {"A,012,z\r\n"}, 0},
        {"no room for both", 'n', crlf, 8, text, {"A,7,z\r\n", "A,5\r\n"}, {}, 115},
        {"cut", 'n', lf, 12, text, {"A,1234,z\n", "A,5678\n"}, {"A,6904,z\n"}, 0},
        {"no such field", 'n', lf, 12, text, {"A,1\n", "A\n"}, {}, 116},
        {"empty field", 'n', lf, 12, text, {"A,,z\n", "A,5\n"}, {}, 241},
        {"blanks in front", 'w', lf, 12, text, {"A   7 z\n", "A 5\n"}, {"A 012 z\n"}, 0},
        // Three fields grow or overflow together or not at all; rows in any order.
        {"all", 'n', lf, 15, three, {"A,7,1,x,6,z\n", "A,8,1,y,5\n"}, {"A,015,2,x,11,z\n"}, 0},
        {"or none", 'n', lf, 15, three, {"A,7,5,x,6,z\n", "A,8,5,y,5\n"}, {}, 115},
        // clang-format on
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        handmade s;
        useform(s, c.form, c.delimiter, c.reclen);
        s.key(0, 1);
        for (const KVRNSUME &field : c.fields)
            s.sum(field.position, field.length, field.type);
        EXPECT_EQ(s.sort(c.in), c.detail == 250 ? strings{} : c.out.empty() ? c.in : c.out);
        EXPECT_EQ(s.sess.detail, c.detail);
        EXPECT_EQ(s.close(), 0);
        EXPECT_EQ(s.sess.detail, c.detail); // a clean close leaves it, too
    }
}

// Keys of four bytes, packed sums, one key twice where `twice` is below `count`.
strings overflowing(uint32_t count, uint32_t twice) {
    strings all;
    for (uint32_t i = 0; i < count; i++) {
        char text[24];
        std::snprintf(text, sizeof text, "%04u\x99\x9C......", i);
        all.push_back(text);
    }
    if (twice < count)
        all.push_back(all[twice]);
    return all;
}

// An external sort has no second look at a held record that finds the output block
// full just when summation stops: that record is lost, and the balance of counts
// tells.  A sort in core keeps it.
TEST(summation, held_record_without_room) {
    for (const uint32_t count : {1000u, 9000u}) { // in core, external
        const auto make = [](handmade &s, uint8_t get) {
            useform(s, 'f', 0, 12);
            s.key(0, 4);
            s.sum(4, 2, KVRN_PACKED);
            s.prim.recoprat = static_cast<uint8_t>(KVRN_PUT_RECORD | get);
        };
        handmade blocks;
        make(blocks, KVRN_GET_BLOCK);
        const strings whole = blocks.sort(overflowing(count, count));
        ASSERT_GT(whole.size(), 1u);
        EXPECT_EQ(blocks.close(), 0);
        const auto perblock = static_cast<uint32_t>(whole[0].size() / 12);
        for (const uint32_t twice : {perblock - 1, perblock, perblock + 1}) {
            const bool lost = count == 9000 && twice == perblock;
            handmade s;
            make(s, KVRN_GET_RECORD);
            EXPECT_EQ(s.sort(overflowing(count, twice)).size(), count + 1 - lost) << twice;
            EXPECT_EQ(s.sess.detail, 115u);
            EXPECT_EQ(s.close(), lost ? -1 : 0);
            EXPECT_EQ(s.sess.detail, lost ? 250u : 115u);
        }
    }
}

} // namespace
} // namespace kvern::test
