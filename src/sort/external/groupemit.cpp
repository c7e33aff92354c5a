// One record is held back (`holdrec`); it goes out when one with another key comes.
// With the last record of all the held record must go out in the same call, and the
// last record too if it was not absorbed:
//
//   record   A  A  B  C   (last)        D   (last, no room for D)
//   held     A  A  A  B   -> B, C out   C -> C out, D held, `emit` becomes writelast
//   out            A
//
// When a block is full in between, the routine returns 1 and is called again with the
// same record; `lastpending` tells it how far it had come with the last one: 1 the
// held record alone is left to write, 2 the new one as well.
#include "sort/external/finalmerge.h"

#include "merge/sum/equalkeys.h"
#include "session/qha9msg.h"
#include "sort/external/diskimage.h"
#include "sort/incore/keycompare.h"

#include <cstring>

namespace kvern {

namespace {

enum : int32_t { placed = 0, noroom = 1, failed = -1 };
enum : uint8_t { pending_none = 0, pending_held = 1, pending_both = 2 };

int32_t place(qha5ctx *ctx, blockhdr *block, const uint8_t *record) {
    const int32_t outcome = ctx->plainemit(ctx, block, record);
    if (outcome == placed)
        ++block->count;
    return outcome;
}

void hold(qha5ctx *ctx, const uint8_t *record) {
    memcpy(ctx->holdrec, record, ctx->intreclen);
    ctx->holdvalid = true;
}

// Also an `emit` of its own, once nothing but holdrec is left.
int32_t writelast(qha5ctx *ctx, blockhdr *block, const uint8_t *) {
    const int32_t outcome = place(ctx, block, ctx->holdrec);
    if (outcome == placed) {
        block->limit = block->next;
        notefolded(ctx, lv_summary);
    }
    return outcome;
}

// A single record in a single block still in the tree, and nothing left to read.
bool islast(const qha5ctx *ctx) {
    return ctx->mergewidth - 1 == ctx->mergedone && ctx->mergetree[0]->count == 1 &&
           ctx->idxlist->kind == ek_end;
}

// The new record meets the held one.
meeting meet(qha5ctx *ctx, const uint8_t *record) {
    const int against = keycompare(record, ctx->holdrec, ctx->keylen);
    if (against < 0) {
        (void)faillogic(ctx);
        return meeting::failed;
    }
    if (against > 0)
        return meeting::apart;
    return meetequal(ctx, ctx->holdrec, record);
}

int32_t closegroups(qha5ctx *ctx, blockhdr *block, const uint8_t *record, uint8_t pending) {
    const int32_t outcome = writelast(ctx, block, nullptr);
    if (outcome != placed) {
        ctx->lastpending = pending;
        return outcome;
    }
    if (pending == pending_held)
        return placed;
    hold(ctx, record);
    const int32_t rest = writelast(ctx, block, nullptr);
    if (rest == noroom)
        ctx->emit = writelast;
    return rest;
}

} // namespace

int32_t emitgrouped(qha5ctx *ctx, blockhdr *block, const uint8_t *record) {
    if (!isfolding(ctx)) // summation has stopped for good
        return place(ctx, block, record);
    if (ctx->lastpending != pending_none)
        return closegroups(ctx, block, record, ctx->lastpending);
    if (!ctx->holdvalid) {
        hold(ctx, record);
        return placed;
    }
    const meeting outcome = meet(ctx, record);
    if (outcome == meeting::failed)
        return failed;
    const bool absorbed = outcome == meeting::absorbed;
    const bool stopped = !isfolding(ctx);
    if (!stopped && islast(ctx))
        return closegroups(ctx, block, record, absorbed ? pending_held : pending_both);
    if (absorbed)
        return placed;
    // If the held record finds no room on the call that stopped summation, the next
    // call writes the new record alone.  Intended: this output, unlike that of a sort
    // in core, has no second look at the held record.
    const int32_t held = place(ctx, block, ctx->holdrec);
    if (held != placed)
        return held;
    if (stopped)
        return place(ctx, block, record);
    hold(ctx, record);
    return placed;
}

} // namespace kvern
