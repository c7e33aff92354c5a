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

TEST(close, takes_its_own_block_and_clears_the_link_table) {
    handmade s;
    ASSERT_EQ(s.open(), 0);
    KVRNSESS copy = s.sess;
    EXPECT_EQ(qha5term(&s.prim, &copy), -1);
    EXPECT_EQ(copy.detail, 223U);
    EXPECT_EQ(s.close(), 1);
    const KVRNLINK empty = {};
    EXPECT_EQ(memcmp(&s.link, &empty, sizeof empty), 0);
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

// Calls in turn, and what they give.
TEST(order, of_calls) {
    const struct {
        const char *calls, *told;
    } scenes[] = {
        {"close", "-1:104"},
        {"open close close", "0 1 -1:104"},
        {"open term term close", "0 1 0 0"},
        {"open chke chkg close", "0 1 1 0"}, // no record at all
        {"open put close", "0 0 1"},         // early
        {"open end close", "0 1 1"},
        // The plain calls know an end too.
        {"open put end put end get get get close", "0 0 1 -1:101 -1:101 0 1 1 0"},
        // After a failure no call is right.
        {"open chkp chkp chkp chkg", "0 0 0 0 -1:102"},
        {"open put put end chkp chkg close", "0 0 0 1 -1:101 -1:101 0"},
        {"open put put end get chkp chkg close", "0 0 0 1 0 -1:101 -1:101 0"},
        {"open put put end get get get chkp chkg close", "0 0 0 1 0 0 1 -1:101 -1:101 0"},
        {"open chkg", "0 -1:102"},
        {"open put put end chkg chkg chkg chkg", "0 0 0 1 0 0 1 -1:102"},
        {"open put put end get get get chkg", "0 0 0 1 0 0 1 -1:102"},
        {"open chkm merge", "0 -1:103 -1:103"},
        {"open put chkm merge", "0 0 -1:103 -1:103"},
        {"open put end chkm merge", "0 0 1 -1:103 -1:103"},
        {"open put put end get chkm merge", "0 0 0 1 0 -1:103 -1:103"},
        {"open put end get get chkm merge", "0 0 1 0 1 -1:103 -1:103"},
    };
    for (const auto &scene : scenes) {
        handmade s;
        EXPECT_EQ(s.play(scene.calls), scene.told) << scene.calls;
    }
}

TEST(order, what_get_tells) {
    handmade s;
    for (const auto &[calls, code, length] : {std::tuple{"open put end get", KVRN_RECORD, 8U},
                                              {"get", KVRN_END, 0U},
                                              {"get", KVRN_END, 0U},
                                              {"close open chkg", KVRN_RECORD, 0U}}) {
        s.sess.code = 99;
        s.sess.reclen = 99;
        (void)s.play(calls);
        EXPECT_EQ(s.sess.code, code) << calls;
        EXPECT_EQ(s.sess.reclen, length) << calls;
        EXPECT_EQ(s.sess.recaddr == nullptr, length == 0) << calls;
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
