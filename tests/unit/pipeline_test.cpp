#include "key/pipeline.h"

#include "key/fieldtables.h"
#include "key/keytable.h"
#include "session/arena.h"
#include "unit/sortrig.h"

namespace kvern {
namespace {

TEST(FieldTables, OneRowBehindTheHighestFieldAndOneByteLeft) {
    const struct {
        const char *what;
        uint32_t keymax;
        uint32_t pieces, reconmax; // 0: not rebuilt
        uint32_t rows;
    } cases[] = {
        {"one field", 0, 0, 0, 2},
        {"highest field of a key", 7, 0, 0, 9},
        {"every piece is a field, even of one source field", 0, 10, 0, 10},
        {"fields of the rebuild table", 1, 2, 8, 10},
        {"key behind the last piece", 4, 2, 1, 6},
    };
    for (const auto &c : cases)
        for (const uint32_t missing : {0u, 1u}) {
            sortrig ctx;
            KVRNRCN pieces{};
            ctx.fields(100, ",", "\r\n");
            ctx.keygiven = 1;
            ctx.keymaxfld = c.keymax;
            ctx.reconopt = c.pieces != 0;
            ctx.reconspec = &pieces;
            pieces.count = c.pieces;
            ctx.reconmaxfld = c.reconmax;
            const uint32_t recon = c.pieces != 0 ? c.reconmax + 2 : 0;
            const auto bytes = static_cast<uint32_t>((c.rows + recon) * sizeof(fieldrow));
            workspace space{ctx.arenanext, bytes + 1 - missing};
            EXPECT_EQ(layoutfieldtables(&ctx, space), missing == 0 ? 0 : -1) << c.what;
            EXPECT_EQ(ctx.errdetail, missing == 0 ? 0u : uint32_t{KVRN_D_STORAGE});
        }
    sortrig huge;
    huge.fields(100);
    huge.keymaxfld = UINT32_MAX;
    workspace space{huge.arenanext, huge.arenafree};
    EXPECT_EQ(layoutfieldtables(&huge, space), -1);
}

// Held record and operands share the larger of the two areas.
TEST(Pipeline, SelectionSharesTheHeldRecord) {
    for (const uint32_t operand : {4u, 8u}) {
        sortrig ctx;
        ctx.fixed(20);
        ctx.keys({charkey(0, 4)});
        ctx.recfunc = rf_suppress;
        ctx.selectopt = 1;
        ctx.selmaxlen = operand;
        ctx.sortnext = ctx.arenanext;
        ctx.sortfree = ctx.arenafree;
        (void)setuppipeline(&ctx);
        EXPECT_EQ(ctx.selbufl, ctx.holdrec);
        EXPECT_EQ(ctx.selbufr - ctx.selbufl, 2 * static_cast<ptrdiff_t>(operand));
        const uint32_t area = std::max(4 * operand, ctx.intreclen);
        EXPECT_EQ(ctx.recwork - ctx.holdrec, static_cast<ptrdiff_t>(arenaround(area)));
    }
}

// Message level 3 gets a statistics point.
TEST(Pipeline, StorageAndClock) {
    const struct {
        uint32_t left;
        uint8_t level;
        uint32_t message, detail;
    } cases[] = {{0, 3, 23, KVRN_D_STORAGE},   {24, 3, 23, KVRN_D_STORAGE},
                 {40, 3, 23, KVRN_D_STORAGE},  {290, 3, 23, KVRN_D_STORAGE},
                 {600, 3, 23, KVRN_D_STORAGE}, {60000, 2, 0, 0},
                 {60000, 3, 1056, 0}};
    for (const auto &c : cases) {
        sortrig ctx;
        ctx.fixed(20);
        ctx.keys({charkey(0, 4)});
        ctx.wbsize = 200;
        ctx.msglevel = c.level;
        ctx.sortnext = ctx.arenanext;
        ctx.sortfree = c.left;
        EXPECT_EQ(setuppipeline(&ctx), c.detail == 0 ? 0 : -1) << c.left;
        EXPECT_EQ(ctx.lastmsg, c.message);
        EXPECT_EQ(ctx.errdetail, c.detail);
    }
}

} // namespace
} // namespace kvern
