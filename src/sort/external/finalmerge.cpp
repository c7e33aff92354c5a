// Phase-3(data): one pass over all strings.  The merge never asks which string a WB
// belongs to; it takes the WBs in the order of their first keys:
//
//   idxlist    40 | 44 | 71 ...            due next: 40, its read is under way
//   mergetree  35 < 38 < 60                lowest records of the merge blocks
//
//   35, 38 go out; 40 lies below 60, so that WB must come in first.  Either a block
//   ran dry just now, and the WB takes its place, or a block is freed (spill.cpp).
//
// A slice of the merge runs for each output block.  In between the tree stands as it
// is (`mergeresume`).  The tree is built anew only when the blocks in it changed
// otherwise than by one coming in for one that ran dry.
//
// Invariants: before a record goes out, no record on disk goes before it; blocks in
// the tree hold records; width - mergedone blocks are in the tree.  The end of the
// index is told by the sentinel's kind: its key is not looked at.
#include "sort/external/finalmerge.h"

#include "session/qha9msg.h"
#include "sort/external/diskimage.h"
#include "sort/external/mergeblocks.h"
#include "sort/external/tempfile.h"
#include "sort/incore/keywidth.h"
#include "sort/incore/losertree.h"

#include <cassert>

namespace kvern {

namespace {

template <uint32_t width>
struct lowestfirst {
    keyorder<width> order;
    bool before(const blockhdr &a, const blockhdr &b) const {
        return order.compare(lowestrecord(a), lowestrecord(b)) < 0;
    }
    static uint32_t &leafof(blockhdr &block) { return block.treenode; }
};

blockhdr *leave(blockhdr *block, int32_t status) {
    block->iostat = status;
    return block;
}

// The draw after the last record.
blockhdr *drawafter(qha5ctx *ctx, blockhdr *block) {
    point(ctx, msg_datablocks, lv_inner, ctx->blocksread);
    point(ctx, msg_indexblocks, lv_inner, ctx->wbcount);
    const int outcome = deletetemps(ctx);
    return leave(block, outcome == 0 ? io_done : io_failed);
}

// Brings the WB that is due into a block freed for it.
int admitdue(qha5ctx *ctx) {
    if (freeblock(ctx) != 0)
        return -1;
    blockhdr *freed = ctx->mergeblocks;
    const blockplace place = placeof(freed);
    blockhdr *fresh = nullptr;
    if (nextwb(ctx, freed, &fresh) != 0)
        return -1;
    if (fresh == nullptr)
        return faillogic(ctx);
    putinplace(ctx, place, fresh);
    listrecords(ctx, fresh);
    return 0;
}

// The champion ran dry: the WB that is due takes its place, or nothing does.
enum class refilled { failed, yes, outdone };

template <typename Tree>
refilled refill(qha5ctx *ctx, Tree &tree) {
    blockhdr *dry = tree.champion();
    const blockplace place = placeof(dry);
    blockhdr *fresh = nullptr;
    if (nextwb(ctx, dry, &fresh) != 0)
        return refilled::failed;
    if (fresh != nullptr) {
        putinplace(ctx, place, fresh);
        listrecords(ctx, fresh);
        tree.replay(fresh->treenode, fresh);
        return refilled::yes;
    }
    if (++ctx->mergedone == ctx->mergewidth)
        return refilled::outdone;
    if (tree.withdraw())
        return refilled::yes;
    (void)faillogic(ctx);
    return refilled::failed;
}

// The last record is out, or no WB came.
blockhdr *endmerging(qha5ctx *ctx, blockhdr *block, refilled outcome) {
    if (outcome == refilled::failed)
        return leave(block, io_failed);
    ctx->outdone = true;
    block->limit = block->next;
    return leave(block, io_done);
}

template <uint32_t width>
blockhdr *merge(qha5ctx *ctx, blockhdr *block) {
    block->count = 0;
    block->next = block->first;
    if (ctx->outdone)
        return drawafter(ctx, block);

    const keyorder<width> order(ctx->keylen);
    losertree<blockhdr, lowestfirst<width>> tree(ctx->mergetree, {order});
    if (!ctx->mergeresume)
        tree.build(ctx->mergeblocks, ctx->mergewidth);
    ctx->mergeresume = false;
    for (;;) {
        blockhdr *champion = tree.champion();
        const uint8_t *record = lowestrecord(*champion);
        idxentry *due = ctx->idxlist;
        if (due->kind != ek_end && order.compare(due->key(), record) < 0) {
            if (admitdue(ctx) != 0)
                return leave(block, io_failed);
            tree.build(ctx->mergeblocks, ctx->mergewidth);
            continue;
        }
        if (const int32_t room = ctx->emit(ctx, block, record); room != 0) {
            ctx->mergeresume = room > 0;
            return leave(block, room > 0 ? io_done : io_failed);
        }
        block->count += ctx->emitcounts;
        drophead(champion);
        if (champion->count != 0)
            tree.replay(champion->treenode, champion);
        else if (const refilled outcome = refill(ctx, tree); outcome != refilled::yes)
            return endmerging(ctx, block, outcome);
    }
}

constexpr widthrow<blockroutine> merges[] = {
    {4, merge<4>}, {8, merge<8>}, {12, merge<12>}, {16, merge<16>}, {24, merge<24>}, {0, merge<0>},
};

} // namespace

blockroutine choosemerge(const qha5ctx *ctx) {
    return forwidth(merges, ctx->keylen);
}

blockhdr *delivermerged(qha5ctx *ctx, blockhdr *block) {
    return merge<0>(ctx, block);
}

} // namespace kvern
