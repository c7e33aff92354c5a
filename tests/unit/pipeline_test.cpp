#include "key/pipeline.h"

#include "key/fieldtables.h"
#include "key/keytable.h"
#include "session/arena.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kvern {
namespace {

struct lines : enginecontext {
    alignas(8) uint8_t specbytes[64] = {};

    explicit lines(const char *delimiter = "\r\n") {
        maketext(KVRN_FIELDS, delimiter);
        inreclen = 100;
        outreclen = 100;
        keygiven = 1;
    }
    void rebuild(uint32_t pieces, uint32_t maxfield, uint32_t length) {
        reconopt = 1;
        reconspec = reinterpret_cast<KVRNRCN *>(specbytes);
        reconspec->count = pieces;
        reconmaxfld = maxfield;
        outreclen = length;
    }
    workspace space() { return {arenanext, arenafree}; }
};

TEST(FieldTables, KeyRows) {
    const struct {
        const char *what;
        uint32_t keymax;
        bool rebuilt;
        uint32_t pieces, reconmax;
        uint32_t rows;
    } cases[] = {
        {"one field", 0, false, 0, 0, 2},
        {"highest field of a key", 7, false, 0, 0, 9},
        {"every piece is a field, even of one source field", 0, true, 10, 0, 10},
        {"fields of the rebuild table", 1, true, 2, 8, 10},
        {"key behind the last piece", 4, true, 2, 1, 6},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        lines ctx;
        ctx.keymaxfld = c.keymax;
        if (c.rebuilt)
            ctx.rebuild(c.pieces, c.reconmax, 50);
        workspace space = ctx.space();
        const uint32_t before = space.left;
        ASSERT_EQ(layoutfieldtables(&ctx, space), 0);
        EXPECT_EQ(ctx.keyfieldrows, c.rows);
        const uint32_t recon = c.rebuilt ? c.reconmax + 2 : 0;
        EXPECT_EQ(before - space.left, (c.rows + recon) * sizeof(fieldrow));
        EXPECT_EQ(ctx.reconfields != nullptr, c.rebuilt);
        EXPECT_EQ(ctx.selfields, nullptr);
    }
}

TEST(FieldTables, WholeLineWithoutKeys) {
    const struct {
        const char *delimiter;
        uint32_t inreclen;
        uint32_t rebuilt; // 0: as read
        uint32_t length;
    } cases[] = {
        {"\n", 100, 0, 99}, {"\r\n", 100, 0, 98}, {"\r\n", 4000, 20, 18}, {"\r\n", 1, 0, 0}};
    for (const auto &c : cases) {
        lines ctx(c.delimiter);
        ctx.keygiven = 0;
        ctx.inreclen = ctx.outreclen = c.inreclen;
        if (c.rebuilt != 0)
            ctx.rebuild(1, 0, c.rebuilt);
        workspace space = ctx.space();
        ASSERT_EQ(layoutfieldtables(&ctx, space), 0);
        EXPECT_EQ(ctx.keyfields[0].offset, 0u);
        EXPECT_EQ(ctx.keyfields[0].length, c.length);
    }
}

TEST(FieldTables, OneByteMustStay) {
    lines ctx;
    ctx.selectopt = 1;
    ctx.selmaxfld = 3;
    ctx.summaxfld = 2;
    const uint32_t sums = 2 * 4 * sizeof(fieldaddr), others = (5 + 2) * sizeof(fieldrow);
    for (const uint32_t missing : {0u, 1u}) {
        workspace space{ctx.arenanext, sums + others + 1 - missing};
        ASSERT_EQ(layoutsumtables(&ctx, space), 0);
        EXPECT_EQ(ctx.sumfields2 - ctx.sumfields1, 4);
        EXPECT_EQ(layoutfieldtables(&ctx, space), missing == 0 ? 0 : -1);
        EXPECT_EQ(ctx.errdetail, missing == 0 ? 0u : uint32_t{KVRN_D_STORAGE});
    }
    lines huge;
    huge.keymaxfld = UINT32_MAX;
    workspace space = huge.space();
    EXPECT_EQ(layoutfieldtables(&huge, space), -1);
    EXPECT_EQ(huge.lastmsg, 23u);
}

// A fixed record of 20 bytes, its first 4 the key.
struct fixedsort : enginecontext {
    fixedsort() : enginecontext(1 << 16) {
        inreclen = outreclen = 20;
        keytablebuilder builder(this);
        EXPECT_EQ(builder.begin(1, 0), 0);
        EXPECT_NE(builder.addkey({0, 4, KVRN_CHAR, 0, KVRN_ASCENDING, 0}), nullptr);
        EXPECT_EQ(builder.finish(nullptr), 0);
        idxentlen = 24 + 16;
        wbsize = 200;
        sortnext = arenanext;
        sortfree = arenafree;
    }
};

TEST(Pipeline, BuffersAndSlots) {
    fixedsort ctx;
    ASSERT_EQ(setuppipeline(&ctx), 0);
    EXPECT_EQ(ctx.recwork, ctx.arenanext);
    EXPECT_EQ(ctx.keyscratch - ctx.recwork, 24);
    EXPECT_EQ(ctx.holdrec, nullptr);
    EXPECT_EQ(ctx.selbufl, nullptr);
    EXPECT_NE(ctx.encode, nullptr);
    EXPECT_NE(ctx.intake, nullptr);
    EXPECT_GE(ctx.slotcount, 2u);
    EXPECT_GE(reinterpret_cast<uint8_t *>(ctx.slotptrs), ctx.keyscratch + ctx.keylen);
    EXPECT_EQ(ctx.sortnext, ctx.arenanext); // later phases begin there again

    fixedsort grouping;
    grouping.recfunc = rf_suppress;
    ASSERT_EQ(setuppipeline(&grouping), 0);
    EXPECT_EQ(grouping.holdrec, grouping.arenanext);
    EXPECT_GE(grouping.recwork, grouping.holdrec + grouping.intreclen);
    EXPECT_LT(grouping.slotcount, ctx.slotcount);
}

// Held record and operands share the larger of the two areas.
TEST(Pipeline, SelectionSharesTheHeldRecord) {
    for (const uint32_t operand : {4u, 8u}) {
        fixedsort ctx;
        ctx.recfunc = rf_suppress;
        ctx.selectopt = 1;
        ctx.selmaxlen = operand;
        (void)setuppipeline(&ctx);
        EXPECT_EQ(ctx.selbufl, ctx.holdrec);
        EXPECT_EQ(ctx.selbufr - ctx.selbufl, 2 * static_cast<ptrdiff_t>(operand));
        const uint32_t area = std::max(4 * operand, ctx.intreclen);
        EXPECT_EQ(ctx.recwork - ctx.holdrec, static_cast<ptrdiff_t>(arenaround(area)));
    }
}

// Later phases divide the storage behind the summation field tables, no more.
TEST(Pipeline, SummationByFieldsKeepsItsTables) {
    lines ctx;
    keytablebuilder builder(&ctx);
    ASSERT_EQ(builder.begin(1, 0), 0);
    ASSERT_NE(builder.addkey({0, 4, KVRN_CHAR, 0, KVRN_ASCENDING, 0}), nullptr);
    ASSERT_EQ(builder.finish(nullptr), 0);
    ctx.recfunc = rf_sum;
    ctx.summaxfld = 5;
    ctx.sumlen = 8;
    ctx.sortnext = ctx.arenanext;
    ctx.sortfree = 1 << 16;
    (void)setuppipeline(&ctx);
    const uint32_t tables = 2 * (5 + 2) * sizeof(fieldaddr);
    EXPECT_EQ(ctx.sortnext, ctx.arenanext + tables);
    EXPECT_EQ(ctx.sortfree, (1u << 16) - tables);
    EXPECT_EQ(reinterpret_cast<uint8_t *>(ctx.keyfields), ctx.sortnext);
    EXPECT_EQ(ctx.holdrec - ctx.sumbuf, 8);
}

TEST(Pipeline, StorageTooSmall) {
    for (const uint32_t left : {0u, 24u, 32u, 40u, 290u, 600u}) {
        fixedsort ctx;
        ctx.sortfree = left;
        EXPECT_EQ(setuppipeline(&ctx), -1) << left;
        EXPECT_EQ(ctx.lastmsg, 23u);
        EXPECT_EQ(ctx.errdetail, uint32_t{KVRN_D_STORAGE});
    }
}

// The clock is read from message level 3 on, for a statistics point.
TEST(Pipeline, TimesTheFirstPhase) {
    for (const uint8_t level : {uint8_t{2}, uint8_t{3}}) {
        fixedsort ctx;
        ctx.msglevel = level;
        ASSERT_EQ(setuppipeline(&ctx), 0);
        EXPECT_EQ(ctx.phasetime != 0, level == 3);
        EXPECT_EQ(ctx.lastmsg, level == 3 ? 1056u : 0u);
        EXPECT_EQ(ctx.errdetail, 0u);
    }
}

} // namespace
} // namespace kvern
