#include "merge/mergeprepare.h"

#include "unit/sortrig.h"

namespace kvern {
namespace {

struct mergerig : sortrig {
    mergerig() { function = KVRN_MERGE; }
};

// The details that a set-up ends with when the storage grows from nothing; 0: success.
std::vector<uint32_t> refusals(void (*ask)(mergerig &ctx)) {
    std::vector<uint32_t> seen;
    for (uint32_t left = 0; left < 8000 && (seen.empty() || seen.back() != 0); left += 8) {
        mergerig ctx;
        ask(ctx);
        ctx.keys({charkey(0, 4)});
        ctx.mergecount = 3;
        ctx.sortnext = ctx.arenanext;
        ctx.sortfree = left;
        const int result = preparemerge(&ctx);
        EXPECT_EQ(result, ctx.errdetail == 0 ? 0 : -1);
        EXPECT_EQ(ctx.lastmsg, result == 0 ? 0u : 23u);
        if (seen.empty() || seen.back() != ctx.errdetail)
            seen.push_back(ctx.errdetail);
    }
    return seen;
}

TEST(MergePrepare, OrderOfTheTakes) {
    using details = std::vector<uint32_t>;
    const struct {
        const char *what;
        void (*ask)(mergerig &ctx);
        details expected;
    } cases[] = {
        {"fixed", [](mergerig &ctx) { ctx.fixed(20); }, {50, 240, 50, 0}},
        {"filter",
         [](mergerig &ctx) {
             ctx.fixed(20);
             ctx.selectopt = 1;
             ctx.selmaxlen = 8;
         },
         {240, 50, 240, 50, 0}},
        {"partial lines", [](mergerig &ctx) { ctx.columns(20); }, {50, 240, 50, 240, 50, 0}},
        {"field tables", [](mergerig &ctx) { ctx.fields(20); }, {50, 240, 50, 240, 50, 0}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(refusals(c.ask), c.expected) << c.what;
}

// Equal blocks inside the storage, that hold what each form and pair of sides needs.
TEST(MergePrepare, Blocks) {
    const struct {
        void (*ask)(mergerig &ctx);
        bool single; // a record a block
        ptrdiff_t in, out;
    } cases[] = {
        {[](mergerig &ctx) { ctx.fixed(21); }, false, 21, 21},
        {[](mergerig &ctx) { ctx.fixed(21); }, true, 21, 21},
        {[](mergerig &ctx) { ctx.variable(21); }, true, 25, 25},
        {[](mergerig &ctx) { ctx.columns(30); }, false, 60, 30},
        {[](mergerig &ctx) { ctx.columns(30); }, true, 30, 30},
    };
    for (const auto &c : cases)
        for (uint32_t left = 500; left < 4000; left += 4) {
            mergerig ctx;
            c.ask(ctx);
            ctx.keys({charkey(0, 4)});
            ctx.mergecount = 2;
            ctx.apioutput = c.single;
            ctx.sortnext = ctx.arenanext;
            ctx.sortfree = left;
            const uint8_t *end = ctx.sortnext + left;
            if (preparemerge(&ctx) != 0)
                continue;
            const auto holds = [&](const blockhdr &block, ptrdiff_t bytes) {
                const ptrdiff_t usable = block.end - block.first;
                return block.end <= end && (c.single ? usable == bytes : usable >= bytes) &&
                       (ctx.recform != 'f' || usable % ctx.inreclen == 0);
            };
            EXPECT_TRUE(holds(*ctx.getblock, c.out)) << left;
            for (const blockhdr *b = ctx.freeblocks; b != nullptr; b = b->link)
                EXPECT_TRUE(holds(*b, c.in)) << left;
            EXPECT_TRUE(ctx.recform != 'r' || c.single ||
                        ctx.textreadlen + ctx.inreclen == ctx.inblklen);
        }
}

} // namespace
} // namespace kvern
