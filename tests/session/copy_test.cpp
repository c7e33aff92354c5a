// Copies from files to a file: what the random sessions do not aim at.
#include "handmade.h"

namespace kvern::test {
namespace {

using namespace std::string_literals;

enum class mode : uint8_t { fixed, columns, fields };
struct filter { // of the first byte or field; or none
    uint8_t op = 0;
    const char *literal = nullptr;
};
struct piece {
    uint32_t position, length;
    const char *literal; // or null
};

struct copycase {
    const char *what;
    mode form;
    uint32_t reclen; // text: with the delimiter
    uint8_t linedlmt;
    uint8_t kind;
    filter where;
    std::vector<piece> pieces;
    strings inputs;
    std::string output;  // of a copy that succeeds
    uint32_t detail = 0; // of one that does not
};

void expect(const copycase &c, uint32_t memsize = 0) {
    SCOPED_TRACE(c.what);
    handmade s;
    s.prim.function = KVRN_COPY;
    s.prim.memsize = memsize;
    s.prim.reclen = c.reclen;
    if (c.form != mode::fixed)
        s.astext(c.linedlmt, c.form == mode::fields ? KVRN_FIELDS : KVRN_COLUMNS);
    if (c.where.literal != nullptr)
        s.keepif(c.where.op, 0, c.where.literal);
    for (const piece &one : c.pieces)
        s.piece(one.position, one.length, one.literal);
    KVRNFTYP types = {1, {c.kind}};
    s.files.intypes = &types;
    s.fromfiles(c.inputs);
    s.outfile(s.file("out"));
    EXPECT_EQ(s.open(), c.detail == 0 ? 0 : -1);
    EXPECT_EQ(s.sess.detail, c.detail);
    EXPECT_EQ(s.close(), 0); // and tells of no imbalance
    EXPECT_EQ(s.sess.detail, c.detail);
    EXPECT_TRUE(c.detail != 0 || s.output() == c.output);
}

constexpr uint8_t plain = KVRN_FILE_PLAIN, descr = KVRN_FILE_DESCRIPTOR;
constexpr uint8_t lf = KVRN_DLMT_LF, cr = KVRN_DLMT_CR, crlf = KVRN_DLMT_CRLF;
constexpr filter all, isb = {KVRN_OP_EQ, "b"}, notx = {KVRN_OP_NE, "x"}, late = {KVRN_OP_GE, "m"};

using enum mode;

// clang-format off
const std::vector<copycase> copycases = {
    // As it stands
    {"inputs in turn", fixed, 2, 0, plain, all, {}, {"abcd", "", "ef"}, "abcdef"},
    {"torn", fixed, 2, 0, plain, all, {}, {"abc"}, "", 200},
    {"lines of any length", columns, 4, lf, plain, all, {}, {"abcdef\n\ng\n", "h"}, "abcdef\n\ng\nh\n"},
    {"not counted", columns, 9, cr, plain, all, {}, {"a\rb\r"}, "a\rb\r"},
    {"end mark", columns, 9, crlf, plain, all, {}, {"a\r\n\x1Azz", "b\r\n"}, "a\r\nb\r\n\x1A"},
    {"no delimiter", columns, 9, crlf, descr, all, {}, {"a\nb\n"}, "a\nb\n"},
    // Selected
    {"the first input dropped", fixed, 2, 0, plain, isb, {}, {"a1a2", "b3a4b5"}, "b3b5"},
    {"all dropped", columns, 9, crlf, descr, isb, {}, {"a\r\nc\r\n", "d\r\n"}, ""},
    {"longest line", columns, 5, lf, plain, notx, {}, {"abcd\nx\na\n"}, "abcd\na\n"},
    {"line too long", columns, 5, lf, plain, notx, {}, {"abcde\na\n"}, "", 111},
    {"zero bytes", columns, 9, lf, plain, notx, {}, {"ab\0cd\nx\0\0y\nz\n"s}, "ab\0cd\nz\n"s},
    {"zero bytes by field", fields, 9, lf, plain, notx, {}, {"a\0 b\nx x\0y\n"s}, "a\0 b\n"s},
    {"carriage returns", columns, 9, cr, plain, notx, {}, {"a\rx\rb\r"}, "a\rb\r"},
    {"other line ends", columns, 9, crlf, descr, notx, {}, {"a\nb\n"}, "", 117},
    {"at the last line", columns, 9, crlf, descr, isb, {}, {"a\r\nb\n"}, "", 117},
    {"nothing to compare", columns, 9, lf, plain, notx, {}, {"a\n\n"}, "", 66},
    // Rebuilt
    {"shorter", fixed, 4, 0, plain, all, {{2, 2, nullptr}, {0, 1, "-"}}, {"abcd", "efgh"}, "cd-gh-"},
    {"by what is left out", fixed, 2, 0, plain, isb, {{1, 1, nullptr}}, {"a1b2", "b3"}, "23"},
    {"columns", columns, 9, crlf, plain, all, {{1, 2, nullptr}, {0, 2, "--"}}, {"abc\r\ndefg\r\n"}, "bc--\r\nef--\r\n"},
    {"fields cut", fields, 19, lf, plain, all, {{1, 4, nullptr}, {0, 1, nullptr}}, {"a b\n1 23456 7\n"}, "b a\n2345 1\n"},
    {"no first byte", columns, 9, lf, plain, all, {{0, 1, nullptr}}, {"a\n\nb\n"}, "", 67},
    {"literals alone", columns, 9, lf, plain, all, {{0, 1, "-"}}, {"a\n\nb\n"}, "-\n-\n-\n"},
    {"piece missing", fields, 9, lf, plain, all, {{1, 4, nullptr}}, {"a\n"}, "", 67},
    {"other line ends rebuilt", columns, 9, crlf, descr, all, {{0, 1, nullptr}}, {"a\nb\n"}, "", 117},
};
// clang-format on

TEST(copies, table) {
    for (const copycase &c : copycases)
        expect(c);
}

// Records that do and do not divide a block, and lines; many blocks at both ends.
TEST(copies, block_after_block) {
    for (const uint32_t reclen : {1u, 7u, 100u, 16000u, 303u}) {
        const bool lines = reclen == 303;
        std::string records, kept, rebuilt;
        for (uint32_t i = 0; records.size() < 200000; ++i) {
            std::string record(lines ? i * 13 % 300 : reclen, static_cast<char>('a' + i * 7 % 26));
            record += lines ? "#\r\n" : "";
            records += record;
            if (record[0] >= 'm')
                kept += record;
            rebuilt += record + record[0];
        }
        copycase c = {"as it stands",     lines ? columns : fixed, reclen, crlf, plain, all, {},
                      {records, records}, records + records};
        expect(c, KVRN_MEM_MIN);
        c.where = late;
        c.output = kept + kept;
        expect(c, KVRN_MEM_MIN);
        c.where = all;
        c.pieces = {{0, reclen, nullptr}, {0, 1, nullptr}};
        c.output = rebuilt + rebuilt;
        if (!lines)
            expect(c, KVRN_MEM_MIN);
    }
}

TEST(copies, no_room_for_two_blocks) {
    copycase c = {"short", fixed, 32700, 0, plain, all, {}, {""}, "", 240};
    expect(c, KVRN_MEM_MIN);
    c.detail = 0;
    expect(c, 1 << 20);
}

} // namespace
} // namespace kvern::test
