// What may happen while records come and go: lines without an end, calls from the hook,
// a hook that stops the session.
#include "handmade.h"

#include <map>

namespace kvern::test {
namespace {

// Enough to fill some blocks.
const strings shuffled = numbered(5003, 5003);

// What a line put by itself must be: one line, whole.
TEST(exchange, single_lines) {
    for (const auto &[line, detail] : std::map<std::string, uint32_t>{{"a\n", 0},
                                                                      {"a\nb\n", 111},
                                                                      {"a", 117},
                                                                      {"", 117},
                                                                      {"1234567\n", 0},
                                                                      {"12345678\n", 111}}) {
        handmade s;
        s.astext(KVRN_DLMT_LF);
        ASSERT_EQ(s.open(), 0);
        EXPECT_EQ(s.put(line), detail == 0 ? 0 : -1) << line;
        EXPECT_EQ(s.sess.detail, detail) << line;
    }
}

// A line without its delimiter in a block: the call takes it, the session fails.
TEST(exchange, text_block_without_a_delimiter) {
    handmade s;
    s.astext(KVRN_DLMT_CRLF);
    s.prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_RECORD;
    ASSERT_EQ(s.open(), 0);
    EXPECT_EQ(s.put("ab\r\n"), 0);
    EXPECT_EQ(s.sess.detail, 0U);
    EXPECT_EQ(s.put("ab"), 0);
    EXPECT_EQ(s.sess.detail, 117U);
    EXPECT_EQ(s.end(s.link.chkp), -1);
    EXPECT_EQ(s.close(), 0);
}

struct reentry {
    handmade session{};
    int rounds = 0;

    reentry() { kvrnhook(hook, this); }

    // Tries what a handler inside a running call must not do.
    static int KVRN_CALL hook(KVRNSESS *sess, void *arg) {
        auto *self = static_cast<reentry *>(arg);
        handmade &s = self->session;
        ++self->rounds;
        const KVRNSESS before = *sess;
        uint32_t number = 2 * 101;
        for (auto call : {kvrnput, qha5chkp, kvrnget, qha5chkg, kvrnmrge, qha5chkm}) {
            EXPECT_EQ(call(sess), -1);
            EXPECT_EQ(sess->detail, number++ / 2);
        }
        EXPECT_EQ(s.close(), -1);
        EXPECT_EQ(sess->detail, 104U);
        EXPECT_EQ(qha5term(&s.prim, sess), -1);
        EXPECT_EQ(kvrnlevl(sess, 1), 0);
        EXPECT_NE(s.link.init, nullptr);
        EXPECT_EQ(sess->ctx, before.ctx);
        return 0;
    }
};

TEST(hook, calls_on_the_running_session_are_refused) {
    reentry calls;
    handmade &s = calls.session;
    ASSERT_EQ(s.open(), 0);
    for (const std::string &record : shuffled)
        ASSERT_EQ(s.put(record), 0);
    calls.rounds = 0;
    s.sess.detail = 7; // as it was found
    ASSERT_EQ(s.end(), 1);
    EXPECT_GT(calls.rounds, 0);
    EXPECT_EQ(s.sess.detail, 7U);
    s.sess.detail = 0;
    int last;
    EXPECT_EQ(s.getall(&last).size(), 5003U);
    EXPECT_EQ(s.close(), 0);

    // What the running call tells itself stays: a sum that stopped.
    reentry inside;
    inside.session.fromfiles({"aaaa9999aaaa9999"});
    inside.session.outfile(inside.session.file("out"));
    inside.session.key(0, 4);
    inside.session.sum(4, 4, KVRN_ZONED);
    EXPECT_EQ(inside.session.open(), 0);
    EXPECT_GT(inside.rounds, 0);
    EXPECT_EQ(inside.session.sess.detail, 115U);
}

TEST(hook, stops_the_session) {
    int left = 0; // rounds to the one whose result is not 0
    const auto countdown = [](KVRNSESS *, void *arg) {
        return --*static_cast<int *>(arg) == 0 ? 1 : 0;
    };
    handmade s;
    ASSERT_EQ(s.open(), 0);
    for (const std::string &record : shuffled)
        ASSERT_EQ(s.put(record), 0);
    left = 1;
    kvrnhook(countdown, &left);
    EXPECT_EQ(s.play("end get close"), "-1:0 -1:102 1");

    // Between files, from any round on: the call says that it was stopped.
    s.fromfiles({joined(shuffled)});
    s.outfile(s.file("out"));
    for (const int round : {1, 1000, 1001, 1002, 1003, 1010}) {
        left = round;
        EXPECT_EQ(s.play("open close"), "1 1") << round;
        EXPECT_EQ(s.sess.detail, 0U);
    }
}

} // namespace
} // namespace kvern::test
