// Records and blocks through kvrnput and kvrnget, and what may happen meanwhile.
#include "handmade.h"

namespace kvern::test {
namespace {

// Enough to fill some blocks.
const strings shuffled = numbered(5003, 5003);

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
    handmade *session;
    int rounds;
};

// Tries what a handler inside a running call must not do.
int KVRN_CALL reentering(KVRNSESS *sess, void *arg) {
    auto *re = static_cast<reentry *>(arg);
    handmade &s = *re->session;
    ++re->rounds;
    struct {
        handmade::recordcall call;
        uint32_t detail;
    } const calls[] = {{kvrnput, 101},  {qha5chkp, 101}, {kvrnget, 102},
                       {qha5chkg, 102}, {kvrnmrge, 103}, {qha5chkm, 103}};
    const KVRNSESS before = *sess;
    for (const auto &c : calls) {
        EXPECT_EQ(c.call(sess), -1);
        EXPECT_EQ(sess->detail, c.detail);
    }
    EXPECT_EQ(s.close(), -1);
    EXPECT_EQ(sess->detail, 104U);
    EXPECT_EQ(qha5term(&s.prim, sess), -1);
    EXPECT_EQ(kvrnlevl(sess, 1), 0);
    EXPECT_NE(s.link.init, nullptr);
    EXPECT_EQ(sess->ctx, before.ctx);
    return 0;
}

TEST(hook, calls_on_the_running_session_are_refused) {
    handmade s;
    reentry re = {&s, 0};
    kvrnhook(reentering, &re);
    ASSERT_EQ(s.open(), 0);
    EXPECT_GT(re.rounds, 0);
    EXPECT_EQ(s.sess.detail, 0U);
    re.rounds = 0;
    for (const std::string &record : shuffled)
        ASSERT_EQ(s.put(record), 0);
    s.sess.detail = 7; // as it was found
    ASSERT_EQ(s.end(), 1);
    EXPECT_GT(re.rounds, 0);
    EXPECT_EQ(s.sess.detail, 7U);
    s.sess.detail = 0;
    int last;
    EXPECT_EQ(s.getall(&last).size(), 5003U);
    EXPECT_EQ(s.close(), 0);
    EXPECT_EQ(s.sess.detail, 0U);

    // What the running call tells itself stays: a sum that stopped.
    handmade summing;
    re = {&summing, 0};
    kvrnhook(reentering, &re);
    summing.fromfiles({"aaaa9999aaaa9999"});
    summing.outfile(summing.file("out"));
    summing.key(0, 4);
    summing.sum(4, 4, KVRN_ZONED);
    ASSERT_EQ(summing.open(), 0);
    EXPECT_GT(re.rounds, 0);
    EXPECT_EQ(summing.sess.detail, 115U);
    EXPECT_EQ(summing.close(), 0);
}

// The hook's round of which the result is not 0.
struct countdown {
    static int KVRN_CALL hook(KVRNSESS *, void *arg) { return --*static_cast<int *>(arg) == 0; }
};

TEST(hook, stops_the_sort) {
    handmade s;
    ASSERT_EQ(s.open(), 0);
    for (const std::string &record : shuffled)
        ASSERT_EQ(s.put(record), 0);
    int left = 1;
    kvrnhook(countdown::hook, &left);
    EXPECT_EQ(s.end(), -1);
    EXPECT_EQ(s.sess.detail, 0U);
    EXPECT_EQ(kvrnget(&s.sess), -1);
    EXPECT_EQ(s.sess.detail, 102U);
    EXPECT_EQ(s.close(), 1);

    // Between files, from any round on: the call says that it was stopped.
    s.fromfiles({joined(shuffled)});
    s.outfile(s.file("out"));
    for (const int round : {1, 1000, 1001, 1002, 1003, 1010}) {
        left = round;
        EXPECT_EQ(s.open(), 1) << round;
        EXPECT_EQ(s.sess.detail, 0U);
        EXPECT_EQ(s.close(), 1);
    }
}

} // namespace
} // namespace kvern::test
