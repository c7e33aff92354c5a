#include "session/arena.h"
#include "sort/slots.h"
#include "sort/tempfile.h"
#include "unit/sortrig.h"

namespace kvern {
namespace {

struct poolrig : enginecontext {
    poolrig(uint32_t room, uint32_t record, uint32_t wb) : enginecontext(room) {
        intreclen = record;
        keylen = 4;
        idxentlen = idxentrylen(4);
        wbsize = wb;
        sortnext = arenanext;
        sortfree = room;
        memset(arenanext, 0xEE, room);
    }
    int lay(uint32_t left) { return layoutpool(this, arenanext, left); }
};

constexpr uint32_t stackbytes = static_cast<uint32_t>(arenaround(qstackpairs * sizeof(sortpair)));

TEST(Slots, StorageTooSmall) {
    poolrig measure(1 << 16, 20, 200);
    ASSERT_EQ(measure.lay(8000), 0);
    const uint32_t each = measure.slotstride + sizeof(slot *);
    const struct {
        const char *what;
        uint32_t record, wb, left, free;
        bool fits;
    } cases[] = {
        {"two slots", 20, 200, stackbytes + 2 * each, 60000, true},
        {"one slot", 20, 200, stackbytes + 2 * each - 1, 60000, false},
        {"the stack alone", 20, 200, stackbytes, 60000, false},
        {"nothing", 20, 200, 0, 60000, false},
        {"no whole record in a WB", 20, 16, 8000, 60000, false},
        {"one index entry in a WB", 20, idxentrylen(4) * 2 - 1, 8000, 60000, false},
        {"no room for the final merge", 20, 200, 8000, 500, false},
        {"WBs far larger than what is left", 20, 6000, 20000, 20000, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        poolrig pool(1 << 16, c.record, c.wb);
        pool.sortfree = c.free;
        EXPECT_EQ(pool.lay(c.left), c.fits ? 0 : -1);
        EXPECT_EQ(pool.errdetail, c.fits ? 0u : uint32_t{KVRN_D_STORAGE});
        EXPECT_EQ(pool.lastmsg, c.fits ? 0u : 23u);
    }
}

// N - (k + 1 - k * k / N) in the range in which a tree has a champion and a loser.
TEST(Slots, FrozenLimit) {
    const struct {
        uint32_t slots, perwb;
        uint32_t limit;
    } cases[] = {
        {2, 2, 1}, {3, 2, 1}, {10, 4, 6}, {100, 4, 95},    {100, 10, 90},
        {4, 8, 3}, {7, 8, 6}, {8, 8, 7},  {718, 766, 717}, {9, 8, 7},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.slots << ' ' << c.perwb);
        poolrig pool(1 << 17, 40, 40 * c.perwb);
        const uint32_t each = static_cast<uint32_t>(arenaround(sizeof(slot) + 40)) + sizeof(slot *);
        ASSERT_EQ(pool.lay(stackbytes + each * c.slots), 0);
        ASSERT_EQ(pool.slotcount, c.slots);
        EXPECT_EQ(pool.frozenlimit, c.limit);
    }
    // k * k above 2^32
    poolrig large(10 << 20, 4, 4 * 70000);
    ASSERT_EQ(large.lay(9 << 20), 0);
    const uint64_t n = large.slotcount;
    EXPECT_EQ(large.frozenlimit, n - (70001 - 70000ull * 70000 / n));
}

// Filled to the last slot the sort stays in core; one record more takes it out.
TEST(Slots, ExactlyTheSlotsStayInCore) {
    for (const uint32_t more : {0u, 1u}) {
        sortrig session;
        session.fixed(100);
        session.keys({charkey(0, 4)});
        blockhdr *block = session.open();
        ASSERT_NE(block, nullptr);
        for (uint32_t left = session.slotcount + more; left != 0 && block != nullptr;) {
            const uint32_t now = std::min(left, session.inblklen / 100);
            sortrig::load(block, bytes(size_t{now} * 100, 'x'), now);
            session.incount += now;
            block = feedblock(&session, block);
            left -= now;
        }
        EXPECT_NE(block, nullptr);
        EXPECT_EQ(session.external, more);
        EXPECT_EQ(session.tempcount, more);
        (void)deletetempfiles(&session);
    }
}

// Drops records that begin with 'd'; 'f' fails.
int32_t dropd(qha5ctx *ctx, const uint8_t *raw) {
    EXPECT_EQ(ctx->scanlimit, ctx->freeblocks->limit);
    return raw[0] == 'd' ? 2 : raw[0] == 'f' ? -1 : 0;
}

TEST(Slots, Selection) {
    const struct {
        const char *raw;
        uint32_t kept, dropped;
        bool fails;
    } cases[] = {{"a1d1b1d2d3", 2, 3, false}, {"a1d1f1a2", 1, 1, true}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.raw);
        sortrig session;
        session.fixed(2);
        session.keys({charkey(0, 1)});
        blockhdr *block = session.open();
        ASSERT_NE(block, nullptr);
        session.selectopt = 1;
        session.selecteval = dropd;
        const bytes raw = fromtext(c.raw);
        sortrig::load(block, raw, static_cast<uint32_t>(raw.size() / 2));
        const blockhdr *back = feedblock(&session, block);
        EXPECT_EQ(back == nullptr, c.fails);
        if (!c.fails) {
            EXPECT_EQ(back->count, 0u);
        }
        EXPECT_EQ(session.slotused, c.kept);
        EXPECT_EQ(session.selectcount, c.dropped);
    }
}

} // namespace
} // namespace kvern
