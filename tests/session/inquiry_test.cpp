// The counters and the last message of a session, asked between calls and from the hook.
#include "handmade.h"

namespace kvern::test {
namespace {

// What the hook saw: that no counter ever fell, and which phases there were.
struct watcher {
    KVRNSTAT last{};
    uint32_t phases = 0; // a bit each
    bool fell = false;

    static int KVRN_CALL hook(KVRNSESS *sess, void *arg) {
        auto &[was, phases, fell] = *static_cast<watcher *>(arg);
        KVRNSTAT now{};
        now.size = sizeof now;
        EXPECT_EQ(kvrnstat(sess, &now), 0);
        fell |= now.phase < was.phase || now.taken < was.taken || now.delivered < was.delivered ||
                now.inbytes < was.inbytes || now.tempbytes < was.tempbytes ||
                now.tempreads < was.tempreads;
        phases |= 1U << now.phase;
        was = now;
        return 0;
    }
};

// Each session takes what the one before it gave, and the first one leaves equal keys out.
TEST(counters, of_sessions_between_files) {
    std::string data = joined(numbered(50000, 30011));
    for (const uint8_t function : {KVRN_SORT, KVRN_MERGE, KVRN_COPY}) {
        SCOPED_TRACE(function);
        const bool sorts = function == KVRN_SORT;
        handmade s;
        watcher seen;
        s.prim.function = function;
        s.prim.options = sorts ? KVRN_SUPPRESS : 0;
        s.prim.memsize = KVRN_MEM_MIN;
        s.prim.mergecnt = 1;
        if (!sorts)
            s.astext(KVRN_DLMT_LF);
        KVRNFTYP types = {1, {KVRN_FILE_DESCRIPTOR}};
        s.files.intypes = sorts ? nullptr : &types;
        s.fromfiles({data});
        s.outfile(s.file("out"));
        kvrnhook(watcher::hook, &seen);
        EXPECT_EQ(s.open(), 0) << s.sess.detail;
        kvrnhook(nullptr, nullptr);
        const KVRNSTAT now = s.counters();
        EXPECT_EQ(s.close(), 0);
        EXPECT_FALSE(seen.fell);
        for (const int phase : {KVRN_PHASE_INPUT, KVRN_PHASE_ORDER, KVRN_PHASE_OUTPUT})
            EXPECT_EQ((seen.phases & 1U << phase) != 0, sorts) << phase;
        EXPECT_EQ((seen.phases & 1U << KVRN_PHASE_PASS) != 0, !sorts);
        EXPECT_EQ(now.phase, unsigned{KVRN_PHASE_DONE});
        EXPECT_EQ(now.inbytes, data.size());
        EXPECT_EQ(now.taken, data.size() / 8);
        data = s.output();
        EXPECT_EQ(data.size(), 30011U * 8);
        EXPECT_EQ(now.outbytes, data.size());
        EXPECT_EQ(now.delivered, data.size() / 8);
        EXPECT_EQ(now.suppressed, now.taken - now.delivered);
        EXPECT_EQ(now.tempfiles, sorts ? 1U : 0U);
        EXPECT_EQ(now.tempbytes > now.delivered * 8, sorts);
        EXPECT_GE(now.tempwrites, now.datablocks + now.spills);
        EXPECT_GE(now.tempreads, now.datablocks);
    }
}

// What no output shows: how many records the storage holds, how long the strings are,
// and that blocks are spilled only where the merge is narrower than they are many.
TEST(counters, strings_and_spills_at_their_borders) {
    constexpr bool wide = sizeof(void *) == 8;
    constexpr int64_t held = wide ? 375 : 426; // of 100 bytes, in 64 KB
    const struct {
        int64_t step, records; // from key to key
        uint64_t strings, spills;
    } rows[] = {
        {1, held, 1, 0},          {1, held + 1, 2, 0},
        {1, 10 * held, 2, 0},     {-1, 2 * held, 3, 0},
        {-1, 10 * held, 11, 0},   {7919, 10 * held, 6, 0},
        {7919, 20 * held, 12, 0}, {7919, 40 * held, 23, wide ? 169 : 176},
    };
    for (const auto &c : rows) {
        handmade s;
        s.prim.memsize = KVRN_MEM_MIN;
        s.prim.reclen = 100;
        s.workplaces({"."}); // its name takes storage
        s.key(0, 8);
        strings records;
        for (int64_t i = 0; i < c.records; ++i) {
            const int64_t key = 10000000 + (c.records + c.step * i % c.records) % c.records;
            records.push_back(std::to_string(key) + std::string(92, '.'));
        }
        EXPECT_EQ(s.sort(records).size(), records.size());
        EXPECT_EQ(s.counters().strings, c.strings) << c.step << ' ' << c.records;
        EXPECT_EQ(s.counters().spills, c.spills) << c.step << ' ' << c.records;
    }
}

TEST(counters, fill_what_the_size_covers) {
    handmade s;
    ASSERT_EQ(s.play("open put"), "0 0");
    const KVRNSTAT all = s.counters();
    EXPECT_EQ(all.taken, 1U);
    for (const uint32_t size : {0U, 3U, 4U, 8U, 16U, 20U, 127U, 129U, 0xFFFFFFFFU}) {
        std::string room(sizeof all + 16, '!');
        std::memcpy(room.data(), &size, sizeof size);
        std::string wanted = room;
        const uint32_t filled = size < 4 ? 0 : std::min<uint32_t>(size, sizeof all);
        std::memcpy(wanted.data(), &all, filled);
        std::memcpy(wanted.data(), filled == 0 ? &size : &filled, sizeof filled);
        EXPECT_EQ(kvrnstat(&s.sess, reinterpret_cast<KVRNSTAT *>(room.data())), filled ? 0 : -1);
        EXPECT_EQ(room, wanted) << size;
    }
    EXPECT_EQ(kvrnstat(&s.sess, nullptr), -1);
}

TEST(message, of_the_session) {
    handmade s;
    ASSERT_EQ(s.open(), 0);
    EXPECT_EQ(s.message(), "");
    EXPECT_EQ(s.put("short"), -1);
    EXPECT_EQ(qha5chkg(&s.sess), -1); // what follows does not hide the reason
    EXPECT_EQ(s.message(), "KVERN:22:Invalid record length is specified in kvrnput function.");
    EXPECT_EQ(s.close(), 0);
    EXPECT_EQ(s.message(), "none");

    s.infile("missing");
    ASSERT_EQ(s.open(), -1);
    const std::string whole = "KVERN:32:Error occurred during file (missing) open.(2)";
    EXPECT_EQ(s.counters().syscode, 2U);
    for (const size_t size : {whole.size() + 1, whole.size(), size_t{11}, size_t{1}, size_t{0}}) {
        std::string text(whole.size() + 2, '!');
        EXPECT_EQ(kvrntext(&s.sess, text.data(), static_cast<unsigned>(size)), size > whole.size()
                                                                                   ? 0
                                                                               : size > 0 ? 1
                                                                                          : -1);
        EXPECT_EQ(text.substr(0, size + 1),
                  size == 0 ? "!" : whole.substr(0, size - 1) + '\0' + '!');
    }
    EXPECT_EQ(kvrntext(&s.sess, nullptr, 9), -1);
}

} // namespace
} // namespace kvern::test
