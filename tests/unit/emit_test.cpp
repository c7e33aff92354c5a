#include "unit/sortrig.h"

#include <functional>

namespace kvern {
namespace {

using setup = std::function<void(sortrig &)>;

// What a text or fixed session gives for records that stand side by side.
std::string sorted(sortrig &session, const std::string &raw, uint32_t records) {
    std::string out;
    for (const bytes &block : session.sortblock(fromtext(raw), records)) {
        out += out.empty() ? "" : "|";
        out.append(block.begin(), block.end());
    }
    return out;
}

TEST(Emit, FormsBlockByBlock) {
    const struct {
        const char *what;
        setup prepare;
        std::string raw;
        uint32_t records, room;
        std::string out; // blocks divided by |
    } cases[] = {
        {"fixed", [](sortrig &s) { s.fixed(3), s.keys({charkey(1, 1)}); }, "xcPxaQxbR", 3, 0,
         "xaQxbRxcP"},
        {"fixed, a block holds two and a half",
         [](sortrig &s) { s.fixed(3), s.keys({charkey(1, 1)}); }, "xcPxaQxbR", 3, 8, "xaQxbR|xcP"},
        {"fixed, exactly two", [](sortrig &s) { s.fixed(3), s.keys({charkey(1, 1)}); },
         "xcPxaQxbRxdS", 4, 6, "xaQxbR|xcPxdS"},
        {"fixed, through the decoders",
         [](sortrig &s) {
             s.fixed(3), s.keys({{0, 2, KVRN_ZONED, 0, KVRN_DESCENDING, 0}});
         },
         "12a1Ub99c", 3, 0, "99c12a1Ub"},
        {"input order kept among equal keys",
         [](sortrig &s) { s.keeporder = 1, s.fixed(2), s.keys({charkey(0, 1)}); },
         "b1a1b2a2b3a3b4a4b5a5b6a6b7a7", 14, 0, "a1a2a3a4a5a6a7b1b2b3b4b5b6b7"},
        {"rebuilt",
         [](sortrig &s) {
             s.fixed(3), s.rebuild({"2+1", "'-'", "0+1"}), s.keys({});
         },
         "abcbca", 2, 0, "a-bc-a"},
        {"lines", [](sortrig &s) { s.columns(8, "\r\n"), s.keys({charkey(0, 2)}); },
         "pear\r\nfig\r\n\r\nkiwi\r\n", 4, 0, "\r\nfig\r\nkiwi\r\npear\r\n"},
        {"lines, a block takes what its own length allows",
         [](sortrig &s) { s.columns(8), s.keys({charkey(0, 2)}); }, "pear\nfig\nkiwi\n", 3, 9,
         "fig\nkiwi\n|pear\n"},
        {"fields", [](sortrig &s) { s.fields(8), s.keys({charkey(1, 2)}); }, "a,2\nb,10\nc,1\n", 3,
         0, "c,1\nb,10\na,2\n"},
        {"suppression", [](sortrig &s) { s.recfunc = rf_suppress, s.fixed(1), s.keys({}); },
         "cabacab", 7, 0, "abc"},
        {"suppression, one record a block",
         [](sortrig &s) { s.recfunc = rf_suppress, s.fixed(1), s.keys({}); }, "cabacab", 7, 1,
         "a|b|c"},
        {"suppression of all but one",
         [](sortrig &s) { s.recfunc = rf_suppress, s.columns(4), s.keys({}); }, "x\nx\nx\n", 3, 0,
         "x\n"},
        {"suppression of nothing",
         [](sortrig &s) { s.recfunc = rf_suppress, s.fixed(1), s.keys({}); }, "", 0, 0, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        sortrig session;
        c.prepare(session);
        session.shortenoutput = c.room;
        EXPECT_EQ(sorted(session, c.raw, c.records), c.out);
        EXPECT_EQ(session.errdetail, 0u);
        EXPECT_EQ(session.outcount + session.suppresscount, c.records);
        EXPECT_EQ(session.stringcount, c.records != 0 ? 1u : 0u);
    }
}

// Padded in, unpadded out; room is measured for the longest record.
TEST(Emit, Variable) {
    const bytes raw = fromhex("05000000 6263646566 000000 01000000 61 000000 00000000");
    const struct {
        uint32_t room;
        std::vector<bytes> out;
    } cases[] = {
        {0, {fromhex("00000000 01000000 61 05000000 6263646566")}},
        {22, {fromhex("00000000 01000000 61"), fromhex("05000000 6263646566")}},
        {23, {fromhex("00000000 01000000 61 05000000 6263646566")}},
    };
    for (const auto &c : cases) {
        sortrig session;
        session.variable(10);
        session.keys({charkey(0, 2)});
        session.shortenoutput = c.room;
        EXPECT_EQ(session.sortblock(raw, 3), c.out) << c.room;
    }
}

// Summation as the output sees it: fields of one digit, a sum above 9 cannot be made,
// '!' is a failure.
int32_t addlastdigit(qha5ctx *ctx, uint8_t *held, const uint8_t *record) {
    const uint32_t at = ctx->keylen; // the gap behind a key of one byte
    if (record[at] == '!')
        return -1;
    if (held[at] - '0' + record[at] - '0' > 9)
        return 1;
    held[at] = static_cast<uint8_t>(held[at] + record[at] - '0');
    return 0;
}

TEST(Emit, Summation) {
    const struct {
        const char *what;
        std::string raw;
        uint32_t room;
        std::string out;
        uint32_t summed;
        bool fails;
    } cases[] = {
        {"folded", "a1b2a3a4", 0, "a8b2", 2, false},
        {"folded, one record a block", "a1b2a3a4c9", 2, "a8|b2|c9", 2, false},
        {"stopped: the rest goes out as it came", "a1b5b5c1c1", 0, "a1b5b5c1c1", 0, false},
        {"stopped where the held record has no room", "a1b5b5c1", 2, "a1|b5|b5|c1", 0, false},
        {"stopped at the last record", "a5a5", 0, "a5a5", 0, false},
        {"failed", "a1b2b!", 0, "", 0, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        sortrig session;
        session.recfunc = rf_sum;
        session.fixed(2);
        session.keys({charkey(0, 1)});
        // The set-up refuses summation for now, so what it lays out is made here.
        session.recfunc = rf_suppress;
        session.shortenoutput = c.room;
        session.sumrebuild = addlastdigit;
        blockhdr *block = session.open();
        ASSERT_NE(block, nullptr);
        session.recfunc = rf_sum;
        const auto records = static_cast<uint32_t>(c.raw.size() / 2);
        sortrig::load(block, fromtext(c.raw), records);
        session.incount = records;
        block = endinput(&session, feedblock(&session, block));
        ASSERT_NE(block, nullptr);
        std::string out;
        for (;;) {
            if (c.room != 0)
                block->end = block->first + c.room;
            block = drawblock(&session, block);
            if (block == nullptr || block->count == 0)
                break;
            out += out.empty() ? "" : "|";
            out.append(block->first, block->limit);
        }
        EXPECT_EQ(block == nullptr, c.fails);
        if (!c.fails) {
            EXPECT_EQ(out, c.out);
        }
        EXPECT_EQ(session.sumcount, c.summed);
    }
}

} // namespace
} // namespace kvern
