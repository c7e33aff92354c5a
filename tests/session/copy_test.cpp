// Copies from files to a file of what the random sessions do not make: records that are
// torn or too long, lines that end otherwise, zero bytes, too little storage.
#include "handmade.h"

namespace kvern::test {
namespace {

using namespace std::string_literals;

constexpr uint8_t plain = KVRN_FILE_PLAIN, descr = KVRN_FILE_DESCRIPTOR;
constexpr uint8_t lf = KVRN_DLMT_LF, crlf = KVRN_DLMT_CRLF;

TEST(copies, broken_and_odd_inputs) {
    const struct {
        char form;       // 'f', text by columns 'c' or by fields 'w'
        char kept;       // of records whose first byte or field is 'x': 'a' all, 'n' none,
                         // 'r' all, rebuilt of the first byte
        uint32_t reclen; // text: with the delimiter
        uint8_t linedlmt, kind;
        strings inputs;
        std::string output;  // of a copy that succeeds
        uint32_t detail = 0; // of one that does not
    } cases[] = {
        {'f', 'a', 2, lf, plain, {"abcd", "", "ef"}, "abcdef"},
        {'f', 'a', 2, lf, plain, {"abc"}, "", KVRN_D_READ},
        {'f', 'a', 32700, lf, plain, {""}, "", KVRN_D_SETUP}, // no room for two blocks
        {'c', 'a', 4, lf, plain, {"abcdef\n\ng\n", "h"}, "abcdef\n\ng\nh\n"},
        {'c', 'a', 9, crlf, descr, {"a\nb\n"}, "a\nb\n"},
        {'c', 'n', 5, lf, plain, {"abcd\nx\na\n"}, "abcd\na\n"},
        {'c', 'n', 5, lf, plain, {"abcde\na\n"}, "", KVRN_D_RECLEN},
        {'c', 'n', 9, lf, plain, {"ab\0cd\nx\0\0y\nz\n"s}, "ab\0cd\nz\n"s},
        {'w', 'n', 9, lf, plain, {"a\0 b\nx x\0y\n"s}, "a\0 b\n"s},
        {'c', 'n', 9, crlf, descr, {"a\nb\n"}, "", KVRN_D_NODELIMITER},
        {'c', 'n', 9, crlf, descr, {"x\r\nb\n"}, "", KVRN_D_NODELIMITER},
        {'c', 'r', 9, crlf, descr, {"a\nb\n"}, "", KVRN_D_NODELIMITER},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(&c - cases);
        handmade s;
        s.prim.function = KVRN_COPY;
        s.prim.memsize = KVRN_MEM_MIN;
        s.prim.reclen = c.reclen;
        if (c.form != 'f')
            s.astext(c.linedlmt, c.form == 'w' ? KVRN_FIELDS : KVRN_COLUMNS);
        KVRNSELE other = compared(KVRN_CHAR, 1, "x", 1);
        other.op = KVRN_OP_NE;
        if (c.kept == 'n')
            s.select({other});
        if (c.kept == 'r')
            s.piece(0, 1);
        KVRNFTYP types = {1, {c.kind}};
        s.files.intypes = &types;
        s.fromfiles(c.inputs);
        s.outfile(s.file("out"));
        EXPECT_EQ(s.open(), c.detail == 0 ? 0 : -1);
        EXPECT_EQ(s.close(), 0); // and tells of no imbalance
        EXPECT_EQ(s.sess.detail, c.detail);
        EXPECT_TRUE(c.detail != 0 || s.output() == c.output);
    }
}

} // namespace
} // namespace kvern::test
