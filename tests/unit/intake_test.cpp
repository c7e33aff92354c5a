#include "unit/sortrig.h"

#include <functional>

namespace kvern {
namespace {

using setup = std::function<void(sortrig &)>;

// The internal record of the first raw record of a block, and the bytes it takes.
struct imagecase {
    const char *what;
    setup prepare;
    bytes raw;
    int32_t taken;
    const char *image;
};

TEST(Intake, Images) {
    const imagecase cases[] = {
        {"fixed: key reversed, gaps behind",
         [](sortrig &s) { s.fixed(6), s.keys({charkey(2, 3)}); }, fromtext("ABCDEF"), 6,
         "45444300 41424600"},
        {"fixed, descending, with the sequence word lowest",
         [](sortrig &s) { s.keeporder = 1, s.fixed(3), s.keys({charkey(0, 2, KVRN_DESCENDING)}); },
         fromtext("ABC"), 3, "01000000 BDBE0000 43000000"},
        {"fixed, through the encoders",
         [](sortrig &s) {
             s.fixed(3), s.keys({{0, 2, KVRN_PACKED, 0, KVRN_ASCENDING, 0}});
         },
         fromhex("12 3C 41"), 3, "3012FF00 3C410000"},
        {"fixed, whole record", [](sortrig &s) { s.fixed(4), s.keys({}); }, fromtext("ABCD"), 4,
         "44434241"},
        {"variable: a key behind the end reads zeros",
         [](sortrig &s) { s.variable(6), s.keys({charkey(4, 2)}); }, fromhex("03000000 414243 00"),
         8, "00000000 03000000 41424300 00000000"},
        {"variable, the longest, unpadded at the block's end",
         [](sortrig &s) { s.variable(6), s.keys({charkey(4, 2)}); },
         fromhex("06000000 414243444546"), 12, "46450000 06000000 41424344 00000000"},
        {"columns: zero padded key and text",
         [](sortrig &s) { s.columns(6), s.keys({charkey(1, 3)}); }, fromtext("ab\ncd\n"), 3,
         "00006200 6162000000000000 02000000"},
        {"columns: the longest line", [](sortrig &s) { s.columns(6), s.keys({charkey(1, 3)}); },
         fromtext("abcde\n"), 6, "64636200 6162636465000000 05000000"},
        {"columns, half a delimiter is text",
         [](sortrig &s) { s.columns(6, "\r\n"), s.keys({charkey(0, 2)}); }, fromtext("\rb\r\r\n"),
         5, "620D0000 0D620D00 03000000"},
        {"fields: cut to the field", [](sortrig &s) { s.fields(8), s.keys({charkey(1, 3)}); },
         fromtext("x,yz\n"), 5, "007A7900 782C797A00000000 04000000"},
        {"fields, no key: the whole line", [](sortrig &s) { s.fields(4), s.keys({}); },
         fromtext("b,\n"), 3, "002C6200 622C0000 02000000"},
        {"rebuilt fixed",
         [](sortrig &s) {
             s.fixed(6), s.rebuild({"4+2", "'-'", "0+3"}), s.keys({charkey(0, 2)});
         },
         fromtext("ABCDEF"), 6, "46450000 2D414243"},
        {"rebuilt variable: always of full length",
         [](sortrig &s) {
             s.variable(8), s.rebuild({"1+2", "'*'"}), s.keys({charkey(0, 1)});
         },
         fromhex("03000000 414243 00"), 8, "42000000 03000000 432A0000 00000000"},
        {"rebuilt columns, shorter than the line may be",
         [](sortrig &s) {
             s.columns(40), s.rebuild({"2+2", "'-'"}), s.keys({charkey(0, 4)});
         },
         fromtext("abcdefg\n"), 8, "002D6463 63642D00 03000000"},
        {"rebuilt fields: pieces are the new fields, however many of one field",
         [](sortrig &s) {
             s.fields(12), s.rebuild({"0+2", "0+1", "'-'", "1+3"}), s.keys({charkey(3, 4)});
         },
         fromtext("ab,c\n"), 5, "00000063 61622C612C2D2C6300000000 08000000"},
        {"rebuilt fields, no key",
         [](sortrig &s) {
             s.fields(12), s.rebuild({"1+1", "0+1"}), s.keys({});
         },
         fromtext("ab,c\n"), 5, "612C6300 632C6100 03000000"},
    };
    for (const imagecase &c : cases) {
        SCOPED_TRACE(c.what);
        sortrig session;
        c.prepare(session);
        ASSERT_NE(session.open(), nullptr) << session.lastmsg;
        const bytes expected = fromhex(c.image);
        ASSERT_EQ(session.intreclen, expected.size());
        // An exact copy of the block, so that a byte read too far is found out.
        const bytes block = c.raw;
        session.scanlimit = block.data() + block.size();
        // Twice: what the first record left in the work areas must not show.
        bytes image(session.intreclen);
        ASSERT_EQ(session.encode(&session, block.data(), image.data()), c.taken);
        EXPECT_EQ(tohex(image), tohex(expected));
        session.seqno = 0;
        ASSERT_EQ(session.encode(&session, block.data(), image.data()), c.taken);
        EXPECT_EQ(tohex(image), tohex(expected));
        EXPECT_EQ(session.seqno, 1u);
    }
}

// A copy gets the finished record and counts nothing.
TEST(Intake, RebuiltForCopy) {
    const struct {
        const char *what;
        setup prepare;
        bytes raw;
        int32_t taken;
        bytes record;
        uint32_t reconlen;
    } cases[] = {
        {"fixed",
         [](sortrig &s) {
             s.fixed(4), s.rebuild({"3+1", "'+'"});
         },
         fromtext("ABCD"), 4, fromtext("D+"), 0},
        {"variable",
         [](sortrig &s) {
             s.variable(9), s.rebuild({"0+2", "'+'"});
         },
         fromhex("02000000 4142 0000"), 8, fromhex("03000000 41422B"), 0},
        {"columns",
         [](sortrig &s) {
             s.columns(9, "\r\n"), s.rebuild({"1+1", "0+2"});
         },
         fromtext("abc\r\n"), 5, fromtext("bab\r\n"), 5},
        {"fields",
         [](sortrig &s) {
             s.fields(9, "::"), s.rebuild({"1+4", "'x'", "0+1"});
         },
         fromtext("ab::c\n"), 6, fromtext("c::x::a\n"), 8},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        sortrig session;
        c.prepare(session);
        session.outreclen += session.linedlmtlen;
        session.function = KVRN_COPY;
        fieldrow rows[4];
        session.reconfields = rows;
        wirescanners(&session);
        bytes out(session.outreclen + (session.recform == 'v' ? 4 : 0), 0xEE);
        session.scanlimit = c.raw.data() + c.raw.size();
        ASSERT_EQ(chooseencode(&session)(&session, c.raw.data(), out.data()), c.taken);
        out.resize(c.record.size());
        EXPECT_EQ(tohex(out), tohex(c.record));
        EXPECT_EQ(session.reconlen, c.reconlen);
        EXPECT_EQ(session.seqno, 0u);
    }
}

TEST(Intake, Refusals) {
    const setup v6 = [](sortrig &s) { s.variable(6), s.keys({charkey(0, 1)}); };
    const setup c6 = [](sortrig &s) { s.columns(6, "\r\n"), s.keys({charkey(0, 1)}); };
    const setup f6 = [](sortrig &s) { s.fields(6), s.keys({charkey(1, 1)}); };
    const setup f6whole = [](sortrig &s) { s.fields(6), s.keys({}); };
    const setup v6rebuilt = [](sortrig &s) {
        s.variable(6), s.rebuild({"2+1"}), s.keys({charkey(0, 1)});
    };
    const setup vliteral = [](sortrig &s) {
        s.variable(6), s.rebuild({"'x'"}), s.keys({charkey(0, 1)});
    };
    const setup crebuilt = [](sortrig &s) {
        s.columns(6), s.rebuild({"2+1"}), s.keys({charkey(0, 1)});
    };
    const setup cliteral = [](sortrig &s) {
        s.columns(6), s.rebuild({"'x'"}), s.keys({charkey(0, 1)});
    };
    const setup frebuilt = [](sortrig &s) {
        s.fields(6), s.rebuild({"1+1"}), s.keys({charkey(0, 1)});
    };
    const setup fbehind = [](sortrig &s) {
        s.fields(12), s.rebuild({"0+1", "4+1"}), s.keys({charkey(4, 1)});
    };
    const struct {
        const char *what;
        setup prepare;
        bytes raw;
        uint32_t message, detail; // 0: taken
    } cases[] = {
        {"variable, too long", v6, fromhex("07000000 41424344454647 00"), 88, 111},
        {"variable, past the block", v6, fromhex("04000000 414243"), 88, 111},
        {"variable, no length word", v6, fromhex("040000"), 88, 111},
        {"variable, empty", v6, fromhex("00000000"), 0, 0},
        {"rebuilt variable, a length that would wrap", v6rebuilt, fromhex("FDFFFFFF 414243"), 88,
         111},
        {"rebuilt variable, piece behind the end", v6rebuilt, fromhex("02000000 4142 0000"), 73,
         67},
        {"rebuilt variable, empty, all literal", vliteral, fromhex("00000000"), 73, 67},
        {"columns, no delimiter", c6, fromtext("ab\r"), 86, 117},
        {"columns, nothing at all", c6, {}, 86, 117},
        {"columns, one byte too long", c6, fromtext("abcde\r\n"), 88, 111},
        {"columns, empty line", c6, fromtext("\r\n"), 0, 0},
        {"rebuilt columns, piece behind the end", crebuilt, fromtext("ab\n"), 73, 67},
        {"rebuilt columns, too long", crebuilt, fromtext("abcdef\n"), 88, 111},
        {"rebuilt columns, empty, all literal", cliteral, fromtext("\n"), 0, 0},
        {"fields, key field missing", f6, fromtext("ab\n"), 87, 118},
        {"fields, no delimiter", f6, fromtext("a,b"), 86, 117},
        {"fields, a zero byte is no delimiter", f6, {'a', ',', 'b', 0}, 86, 117},
        {"fields, a zero byte inside a line", f6, {'a', ',', 'b', 0, '\n'}, 0, 0},
        {"fields, too long", f6, fromtext("a,bcde\n"), 88, 111},
        {"fields, no key, too long", f6whole, fromtext("a,bcde\n"), 88, 111},
        {"rebuilt fields, piece missing", frebuilt, fromtext("ab\n"), 73, 67},
        {"rebuilt fields, too long", frebuilt, fromtext("a,bcde\n"), 88, 111},
        {"rebuilt fields, key behind the last piece", fbehind, fromtext("a,,,,b\n"), 87, 118},
        {"a type without encoder",
         [](sortrig &s) {
             s.fixed(2), s.keys({{0, 2, KVRN_WIDE2, 0, KVRN_ASCENDING, 0}});
         },
         fromtext("ab"), 0, UINT32_MAX},
        {"more records than a sequence word tells apart",
         [](sortrig &s) { s.fixed(2), s.keys({charkey(0, 1)}), s.seqno = UINT32_MAX; },
         fromtext("ab"), 43, 250},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        sortrig session;
        c.prepare(session);
        ASSERT_NE(session.open(), nullptr) << session.lastmsg;
        session.msgargc = 3;
        const uint32_t before = session.seqno;
        bytes image(session.intreclen);
        const bytes block = c.raw;
        session.scanlimit = block.data() + block.size();
        const int32_t taken = session.encode(&session, block.data(), image.data());
        EXPECT_EQ(taken == -1, c.detail != 0) << taken;
        EXPECT_EQ(session.lastmsg, c.message);
        EXPECT_EQ(session.errdetail, c.message != 0 ? c.detail : 0);
        if (c.message != 0) {
            EXPECT_EQ(session.seqno, before);
            EXPECT_EQ(session.msgargc, c.message == 43 ? 3u : 0u);
        }
    }
}

} // namespace
} // namespace kvern
