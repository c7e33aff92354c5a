#include "unit/sortrig.h"

#include <functional>

namespace kvern {
namespace {

using setup = std::function<void(sortrig &)>;

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
        {"rebuilt columns, empty, its first byte", rebuilt(c, 6, "0+1"), fromtext("\n"), 73, 67},
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
