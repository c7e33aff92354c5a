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
        {"fixed, descending, with the sequence word lowest",
         [](sortrig &s) { s.keeporder = 1, s.fixed(3), s.keys({charkey(0, 2, KVRN_DESCENDING)}); },
         fromtext("ABC"), 3, "01000000 BDBE0000 43000000"},
        {"variable: a key behind the end reads zeros",
         [](sortrig &s) { s.variable(6), s.keys({charkey(4, 2)}); }, fromhex("03000000 414243 00"),
         8, "00000000 03000000 41424300 00000000"},
        {"variable, the longest, unpadded at the block's end",
         [](sortrig &s) { s.variable(6), s.keys({charkey(4, 2)}); },
         fromhex("06000000 414243444546"), 12, "46450000 06000000 41424344 00000000"},
        {"columns: zero padded key and text",
         [](sortrig &s) { s.columns(6), s.keys({charkey(1, 3)}); }, fromtext("ab\ncd\n"), 3,
         "00006200 6162000000000000 02000000"},
        {"columns, half a delimiter is text",
         [](sortrig &s) { s.columns(6, "\r\n"), s.keys({charkey(0, 2)}); }, fromtext("\rb\r\r\n"),
         5, "620D0000 0D620D00 03000000"},
        {"fields: cut to the field", [](sortrig &s) { s.fields(8), s.keys({charkey(1, 3)}); },
         fromtext("x,yz\n"), 5, "007A7900 782C797A00000000 04000000"},
        {"rebuilt fixed",
         [](sortrig &s) {
             s.fixed(6), s.rebuild({"4+2", "'-'", "0+3"}), s.keys({charkey(0, 2)});
         },
         fromtext("ABCDEF"), 6, "46450000 2D414243"},
        {"rebuilt fields: pieces are the new fields, however many of one field",
         [](sortrig &s) {
             s.fields(12), s.rebuild({"0+2", "0+1", "'-'", "1+3"}), s.keys({charkey(3, 4)});
         },
         fromtext("ab,c\n"), 5, "00000063 61622C612C2D2C6300000000 08000000"},
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

TEST(Intake, Refusals) {
    const setup v6 = [](sortrig &s) { s.variable(6), s.keys({charkey(0, 1)}); };
    const setup c6 = [](sortrig &s) { s.columns(6, "\r\n"), s.keys({charkey(0, 1)}); };
    const setup f6 = [](sortrig &s) { s.fields(6), s.keys({charkey(1, 1)}); };
    const setup f6whole = [](sortrig &s) { s.fields(6), s.keys({}); };
    const auto rebuilt = [](auto form, uint32_t length, auto... pieces) -> setup {
        return
            [=](sortrig &s) { form(s, length), s.rebuild({pieces...}), s.keys({charkey(0, 1)}); };
    };
    const auto v = [](sortrig &s, uint32_t length) { s.variable(length); };
    const auto c = [](sortrig &s, uint32_t length) { s.columns(length); };
    const auto f = [](sortrig &s, uint32_t length) { s.fields(length); };
    const struct {
        const char *what;
        setup prepare;
        bytes raw;
        uint32_t message, detail; // 0: taken
    } cases[] = {
        {"variable, too long", v6, fromhex("07000000 41424344454647 00"), 88, 111},
        {"variable, past the block", v6, fromhex("04000000 414243"), 88, 111},
        {"rebuilt variable, a length that would wrap", rebuilt(v, 6, "2+1"),
         fromhex("FDFFFFFF 414243"), 88, 111},
        {"rebuilt variable, piece behind the end", rebuilt(v, 6, "2+1"),
         fromhex("02000000 4142 0000"), 73, 67},
        {"rebuilt variable, empty, all literal", rebuilt(v, 6, "'x'"), fromhex("00000000"), 73, 67},
        {"columns, no delimiter", c6, fromtext("ab\r"), 86, 117},
        {"columns, one byte too long", c6, fromtext("abcde\r\n"), 88, 111},
        {"rebuilt columns, piece behind the end", rebuilt(c, 6, "2+1"), fromtext("ab\n"), 73, 67},
        {"rebuilt columns, empty, all literal", rebuilt(c, 6, "'x'"), fromtext("\n"), 0, 0},
        {"fields, key field missing", f6, fromtext("ab\n"), 87, 118},
        {"fields, no delimiter", f6, fromtext("a,b"), 86, 117},
        {"fields, a zero byte is no delimiter", f6, {'a', ',', 'b', 0}, 86, 117},
        {"fields, a zero byte inside a line", f6, {'a', ',', 'b', 0, '\n'}, 0, 0},
        {"fields, no key, too long", f6whole, fromtext("a,bcde\n"), 88, 111},
        {"rebuilt fields, piece missing", rebuilt(f, 6, "1+1"), fromtext("ab\n"), 73, 67},
        {"rebuilt fields, key behind the last piece",
         [](sortrig &s) {
             s.fields(12), s.rebuild({"0+1", "4+1"}), s.keys({charkey(4, 1)});
         },
         fromtext("a,,,,b\n"), 87, 118},
        {"a type without encoder",
         [](sortrig &s) {
             s.fixed(2), s.keys({{0, 2, KVRN_WIDE2, 0, KVRN_ASCENDING, 0}});
         },
         fromtext("ab"), 0, UINT32_MAX},
        {"more records than a sequence word tells apart",
         [](sortrig &s) { s.fixed(2), s.keys({charkey(0, 1)}), s.seqno = UINT32_MAX; },
         fromtext("ab"), 43, 250},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.what);
        sortrig session;
        one.prepare(session);
        ASSERT_NE(session.open(), nullptr) << session.lastmsg;
        session.msgargc = 3;
        const uint32_t before = session.seqno;
        bytes image(session.intreclen);
        const bytes block = one.raw;
        session.scanlimit = block.data() + block.size();
        const int32_t taken = session.encode(&session, block.data(), image.data());
        EXPECT_EQ(taken == -1, one.detail != 0) << taken;
        EXPECT_EQ(session.lastmsg, one.message);
        EXPECT_EQ(session.errdetail, one.message != 0 ? one.detail : 0);
        if (one.message != 0) {
            EXPECT_EQ(session.seqno, before);
            EXPECT_EQ(session.msgargc, one.message == 43 ? 3u : 0u);
        }
    }
}

} // namespace
} // namespace kvern
