// The gates of the public calls: arguments, versions, storage sizes, the order of
// calls, the ways in which a session ends.
#include "handmade.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

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
    struct {
        uint32_t version;
        bool admitted;
        bool by_engine; // a direct call of qha5init is not stopped by the version
    } const cases[] = {
        {0x01100000, true, true},   {0x0110FFFF, true, true},   {0x11100000, true, true},
        {0x1110FFFF, true, true},   {0x11200000, true, true},   {0x11300000, true, true},
        {0x11200001, false, true},  {0x10100000, false, true},  {0x11300001, false, false},
        {0x01110000, false, false}, {0x010FFFFF, false, false}, {0x11110000, false, false},
        {0, false, false},          {UINT32_MAX, false, false},
    };
    for (const auto &c : cases) {
        handmade s;
        s.version = c.version;
        EXPECT_EQ(s.open(), c.admitted ? 0 : -2) << std::hex << c.version;
        EXPECT_EQ(s.sess.detail, c.admitted ? 0U : 1U) << std::hex << c.version;
        EXPECT_EQ(s.close(), c.admitted ? 1 : -1) << std::hex << c.version;
        EXPECT_EQ(s.sess.detail, c.admitted ? 0U : 1U) << std::hex << c.version;

        handmade direct;
        EXPECT_EQ(qha5init(c.version, &direct.link, &direct.prim, &direct.sess, nullptr, nullptr,
                           nullptr),
                  c.by_engine ? 0 : -1)
            << std::hex << c.version;
        EXPECT_EQ(direct.sess.detail, c.by_engine ? 0U : 1U) << std::hex << c.version;
        EXPECT_EQ(qha5term(&direct.prim, &direct.sess), c.by_engine ? 1 : 0);
        if (c.by_engine) {
            EXPECT_NE(direct.sess.ctx, nullptr) << "only the close clears it";
        }
    }
}

TEST(open, storage_sizes) {
    struct {
        uint32_t asked, agreed;
        int result;
        uint32_t detail;
    } const cases[] = {
        {0, 0x100000, 0, 0},          {65534, 65534, -1, 50},
        {65535, 65535, 0, 0},         {1, 1, -1, 50},
        {0xA00000, 0xA00000, 0, 0},   {0xA00001, 0xA00000, 0, 0},
        {UINT32_MAX, 0xA00000, 0, 0}, {0x100001, 0x100001, 0, 0},
    };
    for (const auto &c : cases) {
        handmade s;
        s.prim.memsize = c.asked;
        EXPECT_EQ(s.open(), c.result) << c.asked;
        EXPECT_EQ(s.prim.memsize, c.agreed);
        EXPECT_EQ(s.sess.detail, c.detail);
        EXPECT_EQ(s.sess.ctx != nullptr, c.result == 0);
        EXPECT_EQ(s.close(), c.result == 0 ? 1 : 0);
        EXPECT_EQ(s.sess.ctx, nullptr);
    }
    handmade endless; // a list that no storage holds is not read
    endless.inlist.count = UINT32_MAX;
    endless.files.workfiles = &endless.inlist;
    EXPECT_EQ(endless.open(), -1);
    EXPECT_EQ(endless.sess.detail, 50U);
    char text[100];
    ASSERT_EQ(kvrntext(&endless.sess, text, sizeof text), 0);
    EXPECT_EQ(std::string(text).substr(0, 9), "KVERN:23:");
}

// Older callers' blocks end before the later members; the sanitizer watches.
TEST(open, short_blocks_of_older_callers) {
    constexpr size_t sessbytes = offsetof(KVRNSESS, syserr);
    for (const bool spoiled : {false, true}) {
        auto release = [](auto *p) { std::free(p); };
        std::unique_ptr<KVRNSESS, decltype(release)> sess(
            static_cast<KVRNSESS *>(std::calloc(1, sessbytes)), release);
        std::unique_ptr<KVRNPRIM, decltype(release)> prim(
            static_cast<KVRNPRIM *>(std::calloc(1, offsetof(KVRNPRIM, separator))), release);
        prim->function = KVRN_SORT;
        prim->recform = KVRN_FIXED;
        prim->recoprat = KVRN_PUT_RECORD | KVRN_GET_RECORD;
        prim->reclen = spoiled ? 0 : 8;
        KVRNLINK link = {};
        const int opened =
            kvrnopen(KVRN_VERSION_L0, &link, prim.get(), sess.get(), nullptr, nullptr, nullptr);
        EXPECT_EQ(opened, spoiled ? -1 : 0);
        EXPECT_EQ(kvrnclse(KVRN_VERSION_L0, &link, prim.get(), sess.get()), spoiled ? 0 : 1);
    }
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
    EXPECT_EQ(kvrnstop(nullptr), -1);
    EXPECT_EQ(kvrnstop(&s.sess), -1);
    EXPECT_EQ(kvrnlevl(&s.sess, 2), -1);
    EXPECT_EQ(kvrntmpd(&s.sess, "x"), -1);
    ASSERT_EQ(s.open(), 0);
    for (const unsigned level : {0U, 1U, 6U, 7U, 255U})
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
    handmade s;
    kvrnhook(stopping, nullptr);
    EXPECT_EQ(s.open(), 1);
    EXPECT_EQ(s.sess.detail, 0U);
    EXPECT_EQ(s.close(), 1);

    char good[] = "one;two", bad[] = "one;";
    kvrnhook(depositing, bad);
    EXPECT_EQ(s.open(), -1);
    EXPECT_EQ(s.sess.detail, 227U);
    EXPECT_EQ(s.close(), 1);
    kvrnhook(depositing, good);
    EXPECT_EQ(s.open(), 0);
    EXPECT_EQ(s.close(), 1);
    kvrnhook(nullptr, nullptr);
    EXPECT_EQ(s.open(), 0);
}

// Brings a session with caller input and output to a state.
void advance(handmade &s, int state) {
    ASSERT_EQ(s.open(), 0);
    for (int i = 0; state >= 2 && i < 2; ++i)
        ASSERT_EQ(s.put("12345678"), 0);
    ASSERT_EQ(state < 3 ? 1 : s.end(), 1);
    ASSERT_EQ(state < 4 ? 0 : kvrnget(&s.sess), 0);
    ASSERT_EQ(state < 5 ? 0 : kvrnget(&s.sess), 0);
    ASSERT_EQ(state < 5 ? 1 : kvrnget(&s.sess), 1);
}

TEST(order, of_checked_calls) {
    struct {
        int state;
        bool put, get;
    } const cases[] = {
        {1, true, false}, {2, true, false}, {3, false, true}, {4, false, true}, {5, false, false}};
    for (const auto &c : cases) {
        handmade s;
        advance(s, c.state);
        EXPECT_EQ(s.put("abcdefgh", s.link.chkp), c.put ? 0 : -1) << c.state;
        EXPECT_EQ(s.sess.detail, c.put ? 0U : 101U);
        if (!c.put) { // the failure stays: no call is right from now on
            s.sess.detail = 0;
            EXPECT_EQ(s.link.chkg(&s.sess), -1);
            EXPECT_EQ(s.sess.detail, 101U);
            EXPECT_EQ(s.close(), 0);
        }

        handmade g;
        advance(g, c.state);
        g.sess.code = 99;
        g.sess.reclen = 99;
        EXPECT_EQ(g.link.chkg(&g.sess), c.get ? 0 : -1) << c.state;
        EXPECT_EQ(g.sess.code, KVRN_RECORD);
        EXPECT_EQ(g.sess.reclen, c.get ? 8U : 0U);
        EXPECT_EQ(g.sess.detail, c.get ? 0U : 102U);

        handmade m;
        advance(m, c.state);
        EXPECT_EQ(m.link.chkm(&m.sess), -1);
        EXPECT_EQ(m.sess.detail, 103U);
        EXPECT_EQ(kvrnmrge(&m.sess), -1);
        EXPECT_EQ(m.sess.detail, 103U);
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
