// The gates of the public calls: arguments, versions, storage sizes, the order of
// calls, the ways in which a session ends.
#include "handmade.h"

namespace kvern::test {
namespace {

TEST(open, missing_arguments_write_nothing) {
    handmade s;
    s.sess.detail = 77;
    KVRNSESS before = s.sess;
    EXPECT_EQ(kvrnopen(s.version, nullptr, &s.prim, &s.sess, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(kvrnopen(s.version, &s.link, nullptr, &s.sess, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(kvrnopen(s.version, &s.link, &s.prim, nullptr, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(kvrnclse(s.version, nullptr, &s.prim, &s.sess), -1);
    EXPECT_EQ(kvrnclse(s.version, &s.link, nullptr, &s.sess), -1);
    EXPECT_EQ(kvrnclse(s.version, &s.link, &s.prim, nullptr), -1);
    EXPECT_EQ(memcmp(&before, &s.sess, sizeof before), 0);
    EXPECT_EQ(s.link.init, nullptr);
    for (auto call : {kvrnput, kvrnget, kvrnmrge, qha5chkp, qha5chkg, qha5chkm})
        EXPECT_EQ(call(nullptr), -1);
}

TEST(open, versions) {
    const struct {
        std::vector<uint32_t> versions;
        bool sound, direct; // a direct call of qha5init is not stopped by the version
    } cases[] = {
        {{0x01100000, 0x0110FFFF, 0x11100000, 0x1110FFFF, 0x11200000, 0x11300000}, true, true},
        {{0x10100000, 0x11200001}, false, true},
        {{0x11300001, 0x01110000, 0x010FFFFF, 0x11110000, 0, UINT32_MAX}, false, false},
    };
    for (const auto &c : cases)
        for (const uint32_t version : c.versions) {
            SCOPED_TRACE(version);
            handmade s;
            s.version = version;
            const uint32_t detail = c.sound ? 0 : 1;
            EXPECT_EQ(s.open(), c.sound ? 0 : -2);
            EXPECT_EQ(s.sess.detail, detail);
            EXPECT_EQ(s.close(), c.sound ? 1 : -1);
            EXPECT_EQ(s.sess.detail, detail);

            handmade d;
            EXPECT_EQ(qha5init(version, &d.link, &d.prim, &d.sess, nullptr, nullptr, nullptr),
                      c.direct ? 0 : -1);
            EXPECT_EQ(d.sess.detail, c.direct ? 0U : 1U);
            EXPECT_EQ(qha5term(&d.prim, &d.sess), c.direct ? 1 : 0);
            EXPECT_TRUE(!c.direct || d.sess.ctx != nullptr) << "only the close clears it";
        }
}

TEST(open, storage_sizes) {
    const struct {
        uint32_t asked, agreed, detail;
    } cases[] = {
        {0, 0x100000, 0},        {1, 1, 50},
        {65534, 65534, 50},      {65535, 65535, 0},
        {0x100001, 0x100001, 0}, {0xA00000, 0xA00000, 0},
        {0xA00001, 0xA00000, 0}, {UINT32_MAX, 0xA00000, 0},
    };
    for (const auto &c : cases) {
        handmade s;
        s.prim.memsize = c.asked;
        EXPECT_EQ(s.open(), c.detail == 0 ? 0 : -1) << c.asked;
        EXPECT_EQ(s.prim.memsize, c.agreed);
        EXPECT_EQ(s.sess.detail, c.detail);
        EXPECT_EQ(s.sess.ctx != nullptr, c.detail == 0);
        EXPECT_EQ(s.close(), c.detail == 0 ? 1 : 0);
        EXPECT_EQ(s.sess.ctx, nullptr);
    }
    handmade s; // a list that no storage holds is not read
    KVRNFLST endless = {UINT32_MAX, {nullptr}};
    s.files.workfiles = &endless;
    EXPECT_EQ(s.open(), -1);
    EXPECT_EQ(s.sess.detail, 50U);
    EXPECT_EQ(s.message().substr(0, 9), "KVERN:23:");
}

// Older callers' session block ends before its last member.
TEST(open, system_error_of_newer_callers) {
    for (const uint32_t version : {0x11100001U, 0x11200000U}) {
        handmade s;
        s.version = version;
        s.prim.function = '?';
        EXPECT_EQ(s.open(), -1);
        EXPECT_EQ(s.sess.detail, 56U);
        EXPECT_EQ(s.sess.syserr, version < 0x11200000 ? 0xA5A5A5A5U : 0U);
    }
}

TEST(close, what_it_finds) {
    handmade s;
    EXPECT_EQ(s.close(), -1); // nothing was opened
    EXPECT_EQ(s.sess.detail, 104U);
    ASSERT_EQ(s.open(), 0);
    KVRNSESS copy = s.sess;
    EXPECT_EQ(qha5term(&s.prim, &copy), -1);
    EXPECT_EQ(copy.detail, 223U);
    EXPECT_EQ(s.close(), 1);
    const KVRNLINK empty = {};
    EXPECT_EQ(memcmp(&s.link, &empty, sizeof empty), 0);
    EXPECT_EQ(s.close(), -1);
    EXPECT_EQ(s.sess.detail, 104U);

    ASSERT_EQ(s.open(), 0);
    EXPECT_EQ(s.link.term(&s.prim, &s.sess), 1);
    EXPECT_EQ(s.link.term(&s.prim, &s.sess), 0); // nothing is left to free
    EXPECT_EQ(s.close(), 0);
}

TEST(control, needs_a_session) {
    handmade s;
    KVRNSTAT stat = {};
    stat.size = sizeof stat;
    char text[8];
    for (KVRNSESS *sess : {&s.sess, static_cast<KVRNSESS *>(nullptr)}) {
        EXPECT_EQ(kvrnstop(sess), -1);
        EXPECT_EQ(kvrnlevl(sess, 2), -1);
        EXPECT_EQ(kvrntmpd(sess, "x"), -1);
        EXPECT_EQ(kvrnstat(sess, &stat), -1);
        EXPECT_EQ(kvrntext(sess, text, sizeof text), -1);
    }
    ASSERT_EQ(s.open(), 0);
    for (const int level : {0, 1, 6, 7, 255})
        EXPECT_EQ(kvrnlevl(&s.sess, static_cast<unsigned char>(level)),
                  level == 0 || level > 6 ? -1 : 0);
}

int KVRN_CALL stopping(KVRNSESS *sess, void *) {
    return kvrnstop(sess) == 0 ? 1 : 0;
}
int KVRN_CALL depositing(KVRNSESS *sess, void *text) {
    (void)kvrntmpd(sess, static_cast<const char *>(text));
    return 0;
}

TEST(control, start_up) {
    char good[] = "one;two", bad[] = "one;";
    const struct {
        int(KVRN_CALL *hook)(KVRNSESS *, void *);
        char *arg;
        int opened;
        uint32_t detail;
    } cases[] = {{stopping, nullptr, 1, 0},
                 {depositing, bad, -1, 227},
                 {depositing, good, 0, 0},
                 {nullptr, nullptr, 0, 0}};
    handmade s;
    for (const auto &c : cases) {
        kvrnhook(c.hook, c.arg);
        EXPECT_EQ(s.open(), c.opened);
        EXPECT_EQ(s.sess.detail, c.detail);
        EXPECT_EQ(s.close(), 1);
    }
}

// Brings a session with caller input and output to a state.
void advance(handmade &s, int state) {
    ASSERT_EQ(s.open(), 0);
    for (int i = 0; state >= 2 && i < 2; ++i)
        ASSERT_EQ(s.put("12345678"), 0);
    ASSERT_EQ(state < 3 ? 1 : s.end(), 1);
    for (int i = 4; i <= state; ++i)
        ASSERT_EQ(kvrnget(&s.sess), 0);
    ASSERT_EQ(state < 5 ? 1 : kvrnget(&s.sess), 1);
}

TEST(order, of_checked_calls) {
    for (int state = 1; state <= 5; ++state) {
        SCOPED_TRACE(state);
        const bool put = state < 3, get = state == 3 || state == 4;
        handmade s;
        advance(s, state);
        EXPECT_EQ(s.put("abcdefgh", s.link.chkp), put ? 0 : -1);
        EXPECT_EQ(s.sess.detail, put ? 0U : 101U);
        if (!put) { // the failure stays: no call is right from now on
            s.sess.detail = 0;
            EXPECT_EQ(s.link.chkg(&s.sess), -1);
            EXPECT_EQ(s.sess.detail, 101U);
            EXPECT_EQ(s.close(), 0);
        }

        handmade g;
        advance(g, state);
        g.sess.code = 99;
        g.sess.reclen = 99;
        EXPECT_EQ(g.link.chkg(&g.sess), get ? 0 : -1);
        EXPECT_EQ(g.sess.code, KVRN_RECORD);
        EXPECT_EQ(g.sess.reclen, get ? 8U : 0U);
        EXPECT_EQ(g.sess.detail, get ? 0U : 102U);

        handmade m;
        advance(m, state);
        for (const auto call : {m.link.chkm, kvrnmrge}) {
            EXPECT_EQ(call(&m.sess), -1);
            EXPECT_EQ(m.sess.detail, 103U);
        }
    }
}

TEST(order, of_the_block_itself) {
    handmade s;
    for (auto call : {kvrnput, qha5chkp, kvrnget, qha5chkg, kvrnmrge, qha5chkm})
        EXPECT_EQ(s.put("abcdefgh", call), -1);
    EXPECT_EQ(s.sess.detail, 103U);

    ASSERT_EQ(s.open(), 0);
    KVRNSESS copy = s.sess;
    EXPECT_EQ(s.link.chkg(&copy), -1);
    EXPECT_EQ(copy.detail, 102U);
    EXPECT_EQ(s.close(), 0);

    ASSERT_EQ(s.open(), 0);
    s.sess.code = 18;
    EXPECT_EQ(s.link.chkp(&s.sess), -1);
    EXPECT_EQ(s.sess.detail, 101U);
    EXPECT_EQ(s.close(), 0);

    ASSERT_EQ(s.open(), 0);
    s.sess.code = KVRN_RECORD;
    s.sess.recaddr = nullptr;
    EXPECT_EQ(s.link.chkp(&s.sess), -1);
    EXPECT_EQ(s.sess.detail, 110U);
}

} // namespace
} // namespace kvern::test
