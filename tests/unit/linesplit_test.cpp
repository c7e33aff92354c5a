// Text input: block ends, carried lines, end marks and what cannot be a record.

#include "support/tempfolder.h"
#include "unit/fileroom.h"

#include <gtest/gtest.h>

using namespace kvern;

namespace {

struct linecase {
    const char *about;
    uint8_t kind;
    const char *delimiter;
    uint32_t inreclen, readlen;
    std::string content;
    const char *blocks; // joined by |
    uint8_t eofmark;
};

const linecase linecases[] = {
    {"empty file", 16, "\n", 8, 16, "", "", 0},
    {"carried into the next block", 16, "\n", 8, 8, "abc\ndefg\nh\n", "abc\n|defg\nh\n", 0},
    {"delimiter torn by the read", 16, "\r\n", 8, 9, "abcdef\r\nx\r\n", "abcdef\r\n|x\r\n", 0},
    {"delimiter torn between its bytes", 16, "\r\n", 8, 8, "a\r\nbcde\r\nf\r\n",
     "a\r\n|bcde\r\nf\r\n", 0},
    {"and does not", 16, "\r\n", 8, 16, "abcdefg", "!35", 0},
    {"the descriptor's added byte is one", 1, "\r\n", 8, 16, "abcdefg", "abcdefg\n", 0},
    {"shorter, and nothing fits", 16, "\r\n", 2, 4, "a", "!35", 0},
    {"carry of the longest kind", 16, "\n", 8, 9, "a\n1234567\nb\n", "a\n|1234567\nb\n", 0},
    {"carry as long as a record", 16, "\n", 8, 10, "a\n12345678\nb\n", "!35", 0},
    {"a read without any line's end", 16, "\n", 8, 8, "123456789\n", "!35", 0},
    {"too long, but whole in a block", 16, "\n", 4, 16, "123456789\n", "123456789\n", 0},
    {"too long, after good lines", 16, "\n", 4, 8, "a\nb\nc\nd\n123456789\n", "a\nb\nc\nd\n!35", 0},
    {"mark ends a line", 16, "\r\n", 8, 16, "abc\x1a", "abc\r\n", 1},
    {"mark last byte of a full block", 16, "\r\n", 8, 8, "abcdefg\x1a", "abcdefg\r\n", 1},
    {"mark behind a carry", 16, "\r\n", 8, 8, "ab\r\ncdef\x1a", "ab\r\n|cdef\r\n", 1},
    {"mark last in the largest block", 16, "\r\n", 8, 10, "a\r\n1234567\x1a", "a\r\n|1234567\r\n",
     1},
    {"empty line ahead of the mark stays", 16, "\n", 8, 16, "a\n\n\x1a", "a\n\n", 1},
    {"the descriptor's mark is data", 1, "\n", 8, 16,
     "a\x1a"
     "b\n\x1a",
     "a\x1a"
     "b\n|\x1a\n",
     0},
    {"the descriptor splits at LF", 1, "\r\n", 8, 16, "a\nb\r\n", "a\nb\r\n", 0},
};

TEST(linesplit, blocks) {
    const test::tempfolder dir;
    for (const linecase &one : linecases) {
        SCOPED_TRACE(std::string(one.about) + " kind " + std::to_string(one.kind));
        fileroom room('r', one.inreclen, one.readlen);
        room.delimiter(one.delimiter);
        ASSERT_EQ(room.bind(one.kind, 'r', filewith(dir, "in", one.content)), 0);
        ASSERT_EQ(room.open(), 0);
        const std::string got = room.readall("|");
        EXPECT_EQ(got.substr(0, got.find('!')),
                  std::string(one.blocks ? one.blocks : one.content).substr(0, got.find('!')));
        EXPECT_EQ(got.size(), one.blocks ? strlen(one.blocks) : one.content.size()) << got;
        EXPECT_EQ(room.ctx.errdetail == KVRN_D_READ, got.find('!') != got.npos);
        EXPECT_EQ(room.ctx.eofmark, one.eofmark);
        EXPECT_EQ(room.close(), 0);
    }
}

// Each input has its own carry: two files read in turn do not mix.
TEST(linesplit, carry_by_input) {
    const test::tempfolder dir;
    fileroom room('r', 8, 8);
    room.delimiter("\n");
    carryentry entries[2] = {room.carry, {}};
    std::vector<uint8_t> second(8);
    entries[1].bytes = second.data();
    room.ctx.carrytab = entries;
    ASSERT_EQ(room.bind(16, 'r', filewith(dir, "a", "a1\na22\na3\na44\n")), 0);
    ASSERT_EQ(room.open(), 0);
    const std::string otherpath = filewith(dir, "b", "b1\nb222\nb3\n");
    filectl other = room.file;
    other.name = otherpath.c_str();
    ASSERT_EQ(other.openfn(&room.ctx, &other), 0);

    std::string turns;
    for (uint32_t turn = 0; turn < 4; ++turn) {
        room.block.blockinput = turn % 2;
        filectl &file = turn % 2 ? other : room.file;
        ASSERT_GT(file.readfn(&room.ctx, &file), 0);
        turns += room.held() + "|";
    }
    EXPECT_EQ(turns, "a1\na22\n|b1\nb222\n|a3\na44\n|b3\n|");
    EXPECT_EQ(room.close(), 0);
    EXPECT_EQ(other.closefn(&room.ctx, &other), 0);
}

} // namespace
