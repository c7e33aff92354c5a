#include "merge/mergeprepare.h"

#include "unit/sortrig.h"

namespace kvern {
namespace {

struct mergerig : sortrig {
    mergerig() { function = KVRN_MERGE; }
    void inputs(uint32_t count) { mergecount = count; }
};

// The details that a set-up ends with when the storage grows from nothing; 0: success.
std::vector<uint32_t> refusals(void (*ask)(mergerig &ctx)) {
    std::vector<uint32_t> seen;
    for (uint32_t left = 0; left < 8000 && (seen.empty() || seen.back() != 0); left += 8) {
        mergerig ctx;
        ask(ctx);
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
        {"fixed",
         [](mergerig &ctx) {
             ctx.fixed(20);
             ctx.keys({charkey(0, 4)});
             ctx.inputs(3);
         },
         {50, 240, 50, 0}},
        {"filter",
         [](mergerig &ctx) {
             ctx.fixed(20);
             ctx.keys({charkey(0, 4)});
             ctx.inputs(3);
             ctx.selectopt = 1;
             ctx.selmaxlen = 8;
         },
         {240, 50, 240, 50, 0}},
        {"text by columns: partial lines, then blocks",
         [](mergerig &ctx) {
             ctx.columns(20);
             ctx.keys({charkey(0, 4)});
             ctx.inputs(3);
         },
         {50, 240, 50, 240, 50, 0}},
        {"text by fields",
         [](mergerig &ctx) {
             ctx.fields(20);
             ctx.keys({charkey(0, 4)});
             ctx.inputs(2);
         },
         {50, 240, 50, 240, 50, 0}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(refusals(c.ask), c.expected) << c.what;
}

// What each form and pair of sides uses of equal blocks.
TEST(MergePrepare, Blocks) {
    const struct {
        const char *what;
        void (*ask)(mergerig &ctx);
        bool files;       // at one end at least
        uint32_t in, out; // bytes at least
    } cases[] = {
        {"whole records", [](mergerig &ctx) { ctx.fixed(20); }, true, 20, 20},
        {"a record a block", [](mergerig &ctx) { ctx.fixed(21); }, false, 21, 21},
        {"with length word", [](mergerig &ctx) { ctx.variable(21); }, false, 25, 25},
        {"two lines", [](mergerig &ctx) { ctx.columns(30); }, true, 60, 30},
        {"a line a block", [](mergerig &ctx) { ctx.columns(30); }, false, 30, 30},
    };
    for (const auto &c : cases)
        for (uint32_t left = 500; left < 4000; left += 4) {
            SCOPED_TRACE(c.what + std::to_string(left));
            mergerig ctx;
            c.ask(ctx);
            ctx.keys({charkey(0, 4)});
            ctx.inputs(2);
            ctx.apioutput = !c.files;
            ctx.sortnext = ctx.arenanext;
            ctx.sortfree = left;
            const uint8_t *end = ctx.sortnext + left;
            if (preparemerge(&ctx) != 0)
                continue;
            EXPECT_GE(ctx.inblklen, c.in);
            EXPECT_GE(ctx.outblklen, c.out);
            if (!c.files) {
                EXPECT_EQ(ctx.inblklen, c.in);
                EXPECT_EQ(ctx.outblklen, c.out);
            }
            if (ctx.recform == 'f') {
                EXPECT_EQ(ctx.inblklen % ctx.inreclen, 0u);
            }
            EXPECT_EQ(ctx.getblock->end - ctx.getblock->first, ctx.outblklen);
            uint32_t blocks = 0;
            for (const blockhdr *b = ctx.freeblocks; b != nullptr; b = b->link, blocks++) {
                EXPECT_EQ(b->end - b->first, ctx.inblklen);
                EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % alignof(void *), 0u);
                EXPECT_LE(b->end, end);
                if (ctx.recform == 'r' && c.files) {
                    EXPECT_EQ(ctx.textreadlen + ctx.inreclen, ctx.inblklen);
                }
            }
            EXPECT_EQ(blocks, 2u);
        }
}

} // namespace
} // namespace kvern
