// What puts leave in the block byte by byte, and which are refused.
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
    std::string data;
    std::string stored;
    uint32_t records;
    uint32_t detail;
};

constexpr uint8_t byrecord = KVRN_PUT_RECORD, byblock = KVRN_PUT_BLOCK;

// Longest record: 8 bytes.
const putcase putcases[] = {
    {"fixed, short", 'f', byrecord, "", "abcdefg", "", 0, 111},
    {"fixed, long", 'f', byrecord, "", "abcdefghi", "", 0, 111},
    {"fixed block, empty", 'f', byblock, "", "", "", 0, 0},
    {"fixed block, torn", 'f', byblock, "", "abcdefghi", "", 0, 111},
    {"variable, long", 'v', byrecord, "", "abcdefghi", "", 0, 111},
    {"variable block, torn data", 'v', byblock, "", "\2\0\0\0b"s, "", 0, 111},
    {"variable block, torn word", 'v', byblock, "", "\1\0\0\0a\0\0\0"s, "\1\0\0\0a..."s, 1, 111},
    {"variable block, long", 'v', byblock, "", "\11\0\0\0abcdefghi"s, "", 0, 111},
    {"variable block, wild length", 'v', byblock, "", "\377\377\377\377"s, "", 0, 111},
    {"text, long", 'r', byrecord, "\n", "abcdefgh\n", "", 0, 111},
    {"text, two lines", 'r', byrecord, "\n", "a\nb\n", "", 0, 111},
    {"text, no delimiter", 'r', byrecord, "\n", "ab", "", 0, 117},
    {"text, nothing", 'r', byrecord, "\n", "", "", 0, 117},
    {"text, CR LF is inside", 'r', byrecord, "\r\n", "ab\r\n", "", 0, 111},
    {"line, long", 'r', byblock, "\n", "abcdefgh\n", "", 0, 111},
    {"line, no delimiter", 'r', byblock, "\n", "ab", "ab\0"s, 1, 117},
    {"line, half a delimiter", 'r', byblock, "\r\n", "ab\r", "ab\r\0\0"s, 1, 117},
    {"line, shorter than its delimiter", 'r', byblock, "\r\n", "\n", "\n\0\0"s, 1, 117},
    // The length runs on from line to line.
    {"lines", 'r', byblock, "\n", "ab\ncd\n", "ab\ncd\n\0"s, 2, 0},
    {"lines, padded", 'r', byblock, "\n", "abcdef\nb\n", "abcdef\nb\n\0\0\0\0\0\0"s, 2, 0},
    {"lines, too long together", 'r', byblock, "\n", "abcdefg\nb\n", "abcdefg\n", 1, 111},
    {"neither way", 'f', 0, "", "abcdefgh", "", 0, 250},
    {"no form", 'x', byrecord, "", "abcdefgh", "", 0, 101},
};

TEST(putrecords, what_is_stored) {
    for (const putcase &c : putcases) {
        exchanging ctx(c.form, 8, c.mode, c.delimiter);
        const int result = ctx.put(c.data);
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

    for (const uint32_t earlier : {0U, 59U}) { // the first detail stays
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

} // namespace
} // namespace kvern
