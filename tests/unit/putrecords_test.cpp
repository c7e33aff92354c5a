// What the record calls leave in the block and take from it, byte by byte, while
// the block has room; blocks that fill up are for the session tests.
#include "session/getrecords.h"
#include "session/putrecords.h"

#include "enginecontext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kvern {
namespace {

using namespace std::string_literals;

struct exchanging : enginecontext {
    exchanging(uint8_t form, uint32_t reclen, uint8_t mode, const char *delimiter) {
        if (form == 'r')
            maketext(KVRN_FIELDS, delimiter);
        recform = form;
        inreclen = outreclen = reclen;
        recoprat = mode;
        state = st_ready;
        block.first = block.next = bytes;
        block.end = bytes + sizeof bytes;
        putblock = &block;
        putfn = chooseput(this);
        getfn = chooseget(this);
        memset(bytes, '.', sizeof bytes);
    }
    // The caller's memory is exactly as long as it says.
    int put(const std::string &data) {
        std::vector<uint8_t> exact(data.begin(), data.end());
        sess.recaddr = data.empty() ? bytes : exact.data();
        sess.reclen = static_cast<uint32_t>(data.size());
        sess.code = KVRN_RECORD;
        return putcall(this, &sess);
    }
    std::string stored() const {
        return {reinterpret_cast<const char *>(block.first),
                static_cast<size_t>(block.next - block.first)};
    }

    uint8_t bytes[64];
    blockhdr block = {};
    KVRNSESS sess = {};
};

struct putcase {
    const char *what;
    uint8_t form;
    uint8_t mode;
    const char *delimiter;
    std::vector<std::string> puts;
    std::string stored;
    uint32_t records;
    uint32_t detail;
};

constexpr uint8_t byrecord = KVRN_PUT_RECORD, byblock = KVRN_PUT_BLOCK;

// Longest record: 8 bytes.
const putcase putcases[] = {
    {"fixed", 'f', byrecord, "", {"abcdefgh", "ijklmnop"}, "abcdefghijklmnop", 2, 0},
    {"fixed, short", 'f', byrecord, "", {"abcdefg"}, "", 0, 111},
    {"fixed, long", 'f', byrecord, "", {"abcdefghi"}, "", 0, 111},
    {"fixed block", 'f', byblock, "", {"abcdefghijklmnop"}, "abcdefghijklmnop", 2, 0},
    {"fixed block, empty", 'f', byblock, "", {""}, "", 0, 0},
    {"fixed block, torn", 'f', byblock, "", {"abcdefghi"}, "", 0, 111},
    {"variable", 'v', byrecord, "", {"abc", ""}, "\3\0\0\0abc.\0\0\0\0"s, 2, 0},
    {"variable, longest", 'v', byrecord, "", {"abcdefgh"}, "\10\0\0\0abcdefgh"s, 1, 0},
    {"variable, long", 'v', byrecord, "", {"abcdefghi"}, "", 0, 111},
    {"variable block",
     'v',
     byblock,
     "",
     {"\1\0\0\0a\2\0\0\0bc"s},
     "\1\0\0\0a...\2\0\0\0bc.."s,
     2,
     0},
    {"variable block, torn data",
     'v',
     byblock,
     "",
     {"\1\0\0\0a\3\0\0\0bc"s},
     "\1\0\0\0a..."s,
     1,
     111},
    {"variable block, torn word", 'v', byblock, "", {"\1\0\0\0a\0\0\0"s}, "\1\0\0\0a..."s, 1, 111},
    {"variable block, long", 'v', byblock, "", {"\11\0\0\0abcdefghi"s}, "", 0, 111},
    {"variable block, wild length", 'v', byblock, "", {"\377\377\377\377"s}, "", 0, 111},
    {"text", 'r', byrecord, "\n", {"ab\n", "\n"}, "ab\n\n", 2, 0},
    {"text, longest", 'r', byrecord, "\n", {"abcdefg\n"}, "abcdefg\n", 1, 0},
    {"text, long", 'r', byrecord, "\n", {"abcdefgh\n"}, "", 0, 111},
    {"text, two lines", 'r', byrecord, "\n", {"a\nb\n"}, "", 0, 111},
    {"text, no delimiter", 'r', byrecord, "\n", {"ab"}, "", 0, 117},
    {"text, nothing", 'r', byrecord, "\n", {""}, "", 0, 117},
    {"text, CR LF is inside", 'r', byrecord, "\r\n", {"ab\r\n"}, "", 0, 111},
    {"text, CR LF half", 'r', byrecord, "\r\n", {"a\rb\r"}, "", 0, 117},
    {"line", 'r', byblock, "\n", {"ab\n"}, "ab\n", 1, 0},
    {"line, CR LF", 'r', byblock, "\r\n", {"a\rb\r\n", "c\r\n"}, "a\rb\r\nc\r\n", 2, 0},
    {"line, empty", 'r', byblock, "\r\n", {"\r\n"}, "\r\n", 1, 0},
    {"line, long", 'r', byblock, "\n", {"abcdefgh\n"}, "", 0, 111},
    {"no line", 'r', byblock, "\n", {""}, "", 0, 117},
    {"line, no delimiter", 'r', byblock, "\n", {"ab"}, "ab\0"s, 1, 117},
    {"line, half a delimiter", 'r', byblock, "\r\n", {"ab\r"}, "ab\r\0\0"s, 1, 117},
    {"line, shorter than its delimiter", 'r', byblock, "\r\n", {"\n"}, "\n\0\0"s, 1, 117},
    {"line, zero byte", 'r', byblock, "\n", {"a\0b\n"s}, "a\0b\n"s, 1, 0},
    // The length runs on from line to line.
    {"lines", 'r', byblock, "\n", {"ab\ncd\n"}, "ab\ncd\n\0"s, 2, 0},
    {"lines, growing", 'r', byblock, "\n", {"a\nbcd\n"}, "a\nbcd\n", 2, 0},
    {"lines, the last padded",
     'r',
     byblock,
     "\n",
     {"abcdef\nb\n"},
     "abcdef\nb\n\0\0\0\0\0\0"s,
     2,
     0},
    {"lines, too long together", 'r', byblock, "\n", {"abcdefg\nb\n"}, "abcdefg\n", 1, 111},
    {"neither way", 'f', 0, "", {"abcdefgh"}, "", 0, 250},
    {"both ways", 'f', byrecord | byblock, "", {"abcdefgh"}, "", 0, 250},
    {"no form", 'x', byrecord, "", {"abcdefgh"}, "", 0, 101},
};

TEST(putrecords, what_is_stored) {
    for (const putcase &c : putcases) {
        exchanging ctx(c.form, 8, c.mode, c.delimiter);
        int result = 0;
        for (const std::string &data : c.puts)
            result = ctx.put(data);
        const bool taken = c.detail == 0 || (c.detail == 117 && c.mode == byblock);
        EXPECT_EQ(result, taken ? 0 : -1) << c.what;
        EXPECT_EQ(ctx.stored(), c.stored) << c.what;
        EXPECT_EQ(ctx.block.count, c.records) << c.what;
        EXPECT_EQ(ctx.incount, c.records) << c.what;
        EXPECT_EQ(ctx.sess.detail, c.detail) << c.what;
        EXPECT_EQ(ctx.errdetail, c.detail) << c.what;
        EXPECT_EQ(ctx.state, st_putting) << c.what;
    }
}

TEST(putrecords, puts_are_counted_by_call_in_text_blocks_only) {
    exchanging lines('r', 8, byblock, "\n");
    exchanging fixed('f', 1, byblock, "");
    for (const char *data : {"a\n", "b\n", "c\n"}) {
        EXPECT_EQ(lines.put(data), 0);
        EXPECT_EQ(fixed.put(data), 0);
    }
    EXPECT_EQ(lines.sess.putcount, 1U);
    EXPECT_EQ(lines.incount, 3U);
    EXPECT_EQ(fixed.sess.putcount, 6U);
}

TEST(putrecords, refuses_what_would_fault) {
    exchanging ctx('f', 8, byrecord, "");
    ctx.sess.code = 0;
    EXPECT_EQ(putcall(&ctx, &ctx.sess), -1);
    EXPECT_EQ(ctx.sess.detail, 101U);
    EXPECT_EQ(ctx.lastmsg, 18U);

    exchanging nothing('f', 8, byrecord, "");
    nothing.sess.code = KVRN_RECORD;
    nothing.sess.reclen = 8;
    EXPECT_EQ(putcall(&nothing, &nothing.sess), -1);
    EXPECT_EQ(nothing.sess.detail, 110U);

    exchanging full('f', 8, byrecord, "");
    full.incount = UINT32_MAX;
    EXPECT_EQ(full.put("abcdefgh"), -1);
    EXPECT_EQ(full.sess.detail, 250U);

    for (const uint32_t earlier : {0U, 59U}) {
        exchanging ended('f', 8, byrecord, "");
        ended.putblock = nullptr;
        ended.errdetail = earlier;
        EXPECT_EQ(ended.put("abcdefgh"), -1);
        EXPECT_EQ(ended.sess.detail, earlier ? earlier : 101U);
        EXPECT_EQ(getcall(&ended, &ended.sess), -1);
        EXPECT_EQ(ended.sess.detail, earlier ? earlier : 102U);
        EXPECT_EQ(ended.state, st_ready);
    }
}

TEST(getrecords, records_of_a_block) {
    struct {
        const char *what;
        uint8_t form, mode;
        std::string data;
        std::vector<std::string> records;
        uint32_t count, detail;
    } const cases[] = {
        {"fixed", 'f', KVRN_GET_RECORD, "abcdef", {"abc", "def"}, 2, 0},
        {"variable", 'v', KVRN_GET_RECORD, "\1\0\0\0a\0\0\0\0"s, {"a", ""}, 2, 0},
        {"text", 'r', KVRN_GET_RECORD, "a\r\n\r\nb\0\r\n"s, {"a\r\n", "\r\n", "b\0\r\n"s}, 3, 0},
        {"text that ends early", 'r', KVRN_GET_RECORD, "a\0b\r"s, {"a\0b"s, "\r"}, 2, 0},
        {"block", 'r', KVRN_GET_BLOCK, "a\r\nb\r\n", {"a\r\nb\r\n"}, 2, 0},
        {"neither way", 'f', 0, "abc", {}, 1, 102},
        {"no form", 'x', KVRN_GET_RECORD, "abc", {}, 1, 102},
    };
    for (const auto &c : cases) {
        exchanging ctx(c.form, 3, c.mode, "\r\n");
        memcpy(ctx.bytes, c.data.data(), c.data.size());
        ctx.block.limit = ctx.bytes + c.data.size();
        ctx.block.count = c.count;
        ctx.getblock = &ctx.block;
        std::vector<std::string> got;
        while (got.size() < c.records.size()) {
            ASSERT_EQ(getcall(&ctx, &ctx.sess), 0) << c.what;
            got.emplace_back(static_cast<char *>(ctx.sess.recaddr), ctx.sess.reclen);
        }
        EXPECT_EQ(got, c.records) << c.what;
        if (c.detail != 0) {
            EXPECT_EQ(getcall(&ctx, &ctx.sess), -1) << c.what;
            EXPECT_EQ(ctx.sess.detail, c.detail) << c.what;
            continue;
        }
        EXPECT_EQ(ctx.block.count, 0U) << c.what;
        EXPECT_EQ(ctx.sess.getcount, c.count) << c.what;
        EXPECT_EQ(ctx.outcount, c.count) << c.what;
    }
}

} // namespace
} // namespace kvern
