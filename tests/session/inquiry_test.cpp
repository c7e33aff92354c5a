// The counters and the last message of a session, asked between calls and from the hook.
#include "handmade.h"

namespace kvern::test {
namespace {

// What the hook saw: that no counter ever fell, and which phases there were.
struct watcher {
    KVRNSTAT last = {};
    uint32_t phases = 0; // a bit each
    bool fell = false;

    static int KVRN_CALL hook(KVRNSESS *sess, void *arg) {
        auto *self = static_cast<watcher *>(arg);
        KVRNSTAT now = {};
        now.size = sizeof now;
        EXPECT_EQ(kvrnstat(sess, &now), 0);
        const KVRNSTAT was = self->last;
        self->fell |= now.phase < was.phase || now.taken < was.taken ||
                      now.delivered < was.delivered || now.inbytes < was.inbytes ||
                      now.tempbytes < was.tempbytes || now.tempreads < was.tempreads;
        self->phases |= 1U << now.phase;
        self->last = now;
        return 0;
    }
};

struct filesession : handmade {
    watcher seen;

    KVRNSTAT run(char function, const std::string &data) {
        prim.function = static_cast<uint8_t>(function);
        prim.mergecnt = 1;
        prim.memsize = KVRN_MEM_MIN;
        fromfiles({data});
        outfile(file("out"));
        kvrnhook(watcher::hook, &seen);
        EXPECT_EQ(open(), 0) << sess.detail;
        kvrnhook(nullptr, nullptr);
        const KVRNSTAT stat = counters();
        EXPECT_EQ(stat.size, sizeof stat);
        EXPECT_EQ(close(), 0);
        EXPECT_EQ(sess.detail, 0U);
        EXPECT_FALSE(seen.fell);
        EXPECT_EQ(stat.taken, stat.delivered + stat.rejected + stat.suppressed + stat.summed);
        EXPECT_EQ(stat.outbytes, output().size());
        EXPECT_EQ(stat.inbytes, data.size());
        EXPECT_EQ(stat.phase, unsigned{KVRN_PHASE_DONE});
        return stat;
    }
};

TEST(counters, of_an_external_sort_with_suppression) {
    filesession s;
    s.prim.options = KVRN_SUPPRESS;
    const KVRNSTAT stat = s.run('s', joined(numbered(50000, 30011)));
    EXPECT_EQ(stat.taken, 50000U);
    EXPECT_EQ(stat.delivered, 30011U);
    EXPECT_EQ(stat.suppressed, 50000U - 30011U);
    EXPECT_GT(stat.strings, 1U);
    EXPECT_GT(stat.datablocks, stat.strings);
    EXPECT_GE(stat.tempwrites, stat.datablocks + stat.spills);
    EXPECT_GE(stat.tempreads, stat.datablocks);
    EXPECT_EQ(stat.tempfiles, 1U);
    EXPECT_GT(stat.tempbytes, 50000U * 8);
    for (const int phase : {KVRN_PHASE_INPUT, KVRN_PHASE_ORDER, KVRN_PHASE_OUTPUT})
        EXPECT_NE(s.seen.phases & 1U << phase, 0U) << phase;
}

TEST(counters, of_lines_and_of_one_pass) {
    std::string lines = joined(numbered(300, 97));
    for (const char function : {'s', 'm', 'c'}) {
        filesession s;
        s.astext(KVRN_DLMT_LF);
        const KVRNSTAT stat = s.run(function, lines);
        lines = s.output();
        EXPECT_EQ(stat.taken, 300U);
        EXPECT_EQ(stat.datablocks + stat.spills + stat.tempfiles + stat.tempwrites, 0U);
        EXPECT_EQ(stat.strings, function == 's' ? 1U : 0U);
        EXPECT_EQ((s.seen.phases & 1U << KVRN_PHASE_PASS) != 0, function != 's');
    }
}

TEST(counters, fill_what_the_size_covers) {
    handmade s;
    ASSERT_EQ(s.open(), 0);
    ASSERT_EQ(s.put("12345678"), 0);
    for (const uint32_t size : {0U, 3U, 4U, 8U, 16U, 20U, 120U, 127U, 129U, 0xFFFFFFFFU}) {
        std::vector<uint8_t> room(sizeof(KVRNSTAT) + 16, 0xA5);
        std::memcpy(room.data(), &size, sizeof size);
        const std::vector<uint8_t> before = room;
        auto *stat = reinterpret_cast<KVRNSTAT *>(room.data());
        const uint32_t filled = std::min<uint32_t>(size, sizeof(KVRNSTAT));
        EXPECT_EQ(kvrnstat(&s.sess, stat), size < 4 ? -1 : 0);
        if (size < 4) {
            EXPECT_EQ(room, before);
            continue;
        }
        EXPECT_EQ(stat->size, filled);
        EXPECT_EQ(size < 8 ? 0xA5A5A5A5U : uint32_t{KVRN_PHASE_INPUT}, stat->phase);
        EXPECT_EQ(size < 16 ? 0xA5A5A5A5A5A5A5A5U : 1, stat->taken);
        for (size_t at = filled; at < room.size(); ++at)
            EXPECT_EQ(room[at], before[at]) << size << ' ' << at;
    }
    EXPECT_EQ(kvrnstat(&s.sess, nullptr), -1);
}

TEST(message, of_the_session) {
    handmade s;
    ASSERT_EQ(s.open(), 0);
    EXPECT_EQ(s.message(), "");
    EXPECT_EQ(s.put("short"), -1);
    EXPECT_EQ(s.message(), "KVERN:22:Invalid record length is specified in kvrnput function.");
    EXPECT_EQ(qha5chkg(&s.sess), -1); // what follows does not hide the reason
    EXPECT_EQ(s.message().substr(0, 9), "KVERN:22:");
    EXPECT_EQ(s.close(), 0);
    EXPECT_EQ(s.message(), "none");

    s.key(5, 4);
    ASSERT_EQ(s.open(), -1);
    const std::string whole =
        "KVERN:7:The mistake is found in the specification of the key-field(0).";
    for (const size_t size : {whole.size() + 1, whole.size(), size_t{11}, size_t{1}}) {
        std::string text(whole.size() + 2, '!');
        EXPECT_EQ(kvrntext(&s.sess, text.data(), static_cast<unsigned>(size)),
                  size > whole.size() ? 0 : 1);
        EXPECT_EQ(text.substr(0, size + 1), whole.substr(0, size - 1) + '\0' + '!');
    }
    char none = '!';
    EXPECT_EQ(kvrntext(&s.sess, &none, 0), -1);
    EXPECT_EQ(none, '!');
    EXPECT_EQ(kvrntext(&s.sess, nullptr, 9), -1);
}

TEST(message, names_the_file) {
    handmade s;
    const std::string missing = s.file("missing");
    s.infile(missing);
    ASSERT_EQ(s.open(), -1);
    EXPECT_EQ(s.message(), "KVERN:32:Error occurred during file (" + missing + ") open.(2)");
    EXPECT_EQ(s.counters().syscode, 2U);
}

} // namespace
} // namespace kvern::test
