// The gates of the public calls: arguments, versions, storage sizes, the order of
// calls, the ways in which a session ends.
#include "handmade.h"

namespace kvern::test {
namespace {

TEST(open, missing_arguments_write_nothing) {
    handmade s;
    const KVRNSESS before = s.sess;
    for (const int missing : {0, 1, 2}) {
        KVRNLINK *link = missing == 0 ? nullptr : &s.link;
        KVRNPRIM *prim = missing == 1 ? nullptr : &s.prim;
        KVRNSESS *sess = missing == 2 ? nullptr : &s.sess;
        EXPECT_EQ(kvrnopen(s.version, link, prim, sess, nullptr, nullptr, nullptr), -2);
        EXPECT_EQ(kvrnclse(s.version, link, prim, sess), -1);
    }
    EXPECT_EQ(memcmp(&before, &s.sess, sizeof before), 0);
    EXPECT_EQ(s.link.init, nullptr);
    for (auto call : {kvrnput, kvrnget, kvrnmrge, qha5chkp, qha5chkg, qha5chkm, kvrnstop})
        EXPECT_EQ(call(nullptr), -1);
}

TEST(open, versions) {
    const std::pair<bool, std::vector<uint32_t>> cases[] = {
        {true, {0x01100000, 0x0110FFFF, 0x11100000, 0x1110FFFF, 0x11200000, 0x11300000}},
        {false, {0x10100000, 0x11200001, 0x11300001, 0x01110000, 0x010FFFFF, 0x11110000, 0}},
    };
    for (const auto &[sound, versions] : cases)
        for (const uint32_t version : versions) {
            handmade s;
            s.version = version;
            EXPECT_EQ(s.open(), sound ? 0 : -2) << version;
            // Older callers' session block ends before its last member.
            EXPECT_EQ(s.sess.syserr, sound && version >= 0x11200000 ? 0 : 0xA5A5A5A5);
            EXPECT_EQ(s.close(), sound ? 1 : -1);
            EXPECT_EQ(s.sess.detail, sound ? 0U : 1U);
        }
    handmade s; // whom the door does not stop
    EXPECT_EQ(qha5init(0, &s.link, &s.prim, &s.sess, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(qha5term(&s.prim, &s.sess), 0);
    EXPECT_EQ(s.sess.detail, 1U);
}

TEST(open, storage_sizes) {
    const struct {
        uint32_t asked, agreed;
    } cases[] = {{0, 0x100000},        {65534, 65534},       {65535, 65535},
                 {0xA00000, 0xA00000}, {0xA00001, 0xA00000}, {UINT32_MAX, 0xA00000}};
    for (const auto &c : cases) {
        handmade s;
        s.prim.memsize = c.asked;
        EXPECT_EQ(s.open(), c.asked == 65534 ? -1 : 0) << c.asked;
        EXPECT_EQ(s.sess.detail, c.asked == 65534 ? 50U : 0U);
        EXPECT_EQ(s.prim.memsize, c.agreed);
        EXPECT_EQ(s.close(), c.asked == 65534 ? 0 : 1);
        EXPECT_EQ(s.sess.ctx, nullptr);
    }
}

// A block of one record, which is not rounded down to what suits shorter output records.
TEST(open, storage_for_one_long_record) {
    handmade s;
    s.prim.memsize = KVRN_MEM_MIN;
    s.prim.reclen = 3501;
    s.key(0, 4);
    s.piece(0, 4);
    EXPECT_EQ(s.sort({std::string(3501, 'b'), std::string(3501, 'a')}), (strings{"aaaa", "bbbb"}));
}

TEST(control, needs_a_session) {
    handmade s;
    KVRNSTAT stat = {};
    stat.size = sizeof stat;
    for (KVRNSESS *sess : {&s.sess, static_cast<KVRNSESS *>(nullptr)}) {
        EXPECT_EQ(kvrnlevl(sess, 2), -1);
        EXPECT_EQ(kvrntmpd(sess, "x"), -1);
        EXPECT_EQ(kvrnstat(sess, &stat), -1);
    }
    EXPECT_EQ(kvrnstop(&s.sess), -1);
    EXPECT_EQ(s.message(), "none");
    ASSERT_EQ(s.open(), 0);
    for (const int level : {0, 1, 6, 7})
        EXPECT_EQ(kvrnlevl(&s.sess, static_cast<uint8_t>(level)), level % 7 == 0 ? -1 : 0);
}

TEST(control, a_stop_from_the_hook) {
    handmade s;
    kvrnhook([](KVRNSESS *sess, void *) { return kvrnstop(sess); }, nullptr);
    EXPECT_EQ(s.open(), 1);
    EXPECT_EQ(s.sess.detail, 0U);
    EXPECT_EQ(s.close(), 1);
}

// Calls in turn, and what they give.
TEST(order, of_calls) {
    const struct {
        uint8_t function;
        const char *calls, *told;
    } scenes[] = {
        {'s', "close", "-1:104"},
        {'s', "put chkp get chkg merge chkm", "-1:101 -1:101 -1:102 -1:102 -1:103 -1:103"},
        {'s', "open close close", "0 1 -1:104"},
        {'s', "open term term close", "0 1 0 0"},
        {'s', "open chke chkg close", "0 1 1 0"}, // no record at all
        {'s', "open put close", "0 0 1"},         // early
        // The plain calls know an end too.
        {'s', "open put end put end get get get close", "0 0 1 -1:101 -1:101 0 1 1 0"},
        // After a failure no call is right.
        {'s', "open chkp chkp chkp chkg", "0 0 0 0 -1:102"},
        {'s', "open put put end chkp chkg close", "0 0 0 1 -1:101 -1:101 0"},
        {'s', "open put put end get get get chkp close", "0 0 0 1 0 0 1 -1:101 0"},
        {'s', "open put put end chkg chkg chkg chkg", "0 0 0 1 0 0 1 -1:102"},
        {'s', "open put end get chkm merge", "0 0 1 0 -1:103 -1:103"},
        {'s', "open unknown chkp close", "0 -1:101 -1:101 0"},
        {'s', "open null close", "0 -1:110 0"},
        {'m', "open chkp close", "0 -1:101 0"},
        {'m', "open merge last merge put get close", "0 0 1 -1:103 -1:101 -1:102 0"},
    };
    for (const auto &scene : scenes) {
        handmade s;
        s.prim.function = scene.function;
        s.prim.mergecnt = 1;
        EXPECT_EQ(s.play(scene.calls), scene.told) << scene.calls;
    }
}

TEST(order, another_block_is_refused) {
    for (const bool put : {true, false}) {
        handmade s;
        EXPECT_EQ(s.play(put ? "open put" : "open put end"), put ? "0 0" : "0 0 1");
        KVRNSESS copy = s.sess;
        copy.code = KVRN_RECORD;
        EXPECT_EQ(put ? qha5chkp(&copy) : qha5chkg(&copy), -1);
        EXPECT_EQ(qha5term(&s.prim, &copy), -1);
        EXPECT_EQ(copy.detail, 223U);
        EXPECT_EQ(s.close(), 0);
    }
}

// What the caller of a merge must not bring, by the checked call and by the plain one,
// which leaves a wrong but existing input number to the caller.
TEST(merge, wrong_use) {
    const struct {
        const char *what;
        void (*spoil)(KVRNSESS &sess);
        char form;
        uint32_t detail;
        bool plainsees = true;
    } cases[] = {
        {"other input", [](KVRNSESS &s) { s.inputno = 1; }, 'f', 103, false},
        {"no input", [](KVRNSESS &s) { s.inputno = 2; }, 'f', 103},
        {"code", [](KVRNSESS &s) { s.code = 18; }, 'f', 103},
        {"no record", [](KVRNSESS &s) { s.recaddr = nullptr; }, 'r', 110},
        {"long fixed", [](KVRNSESS &s) { s.reclen = 9; }, 'f', 111},
        {"long", [](KVRNSESS &s) { s.reclen = 41; }, 'v', 111},
        {"no delimiter", [](KVRNSESS &s) { s.reclen = 8; }, 'r', 117},
        {"nothing", [](KVRNSESS &s) { s.reclen = 0; }, 'r', 117},
    };
    for (const auto &c : cases)
        for (const bool tofile : {false, true})
            for (const bool plain : {false, true}) {
                SCOPED_TRACE(c.what);
                handmade s;
                s.prim.function = KVRN_MERGE;
                s.prim.mergecnt = 2;
                s.prim.reclen = c.form == 'f' ? 8 : 40;
                s.prim.recform = c.form == 'f' ? KVRN_FIXED : KVRN_VARIABLE;
                if (c.form == 'r')
                    s.astext(KVRN_DLMT_LF);
                if (tofile && c.form != 'v') // which plain files do not hold
                    s.outfile(s.file("out"));
                ASSERT_EQ(s.open(), 0);
                const std::string record = c.form == 'r' ? "0001a000\n" : "0001a000";
                s.give(record);
                c.spoil(s.sess);
                const bool seen = !plain || c.plainsees;
                EXPECT_EQ((plain ? kvrnmrge : s.link.chkm)(&s.sess), seen ? -1 : 0);
                EXPECT_EQ(s.sess.detail, seen ? c.detail : 0);
                EXPECT_EQ(s.close(), seen ? 0 : 1);
            }
}

} // namespace
} // namespace kvern::test
