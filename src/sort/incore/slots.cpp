// The slot pool over what is left of the working storage:
//
//   | sort stack | slotptrs, one pointer a slot | slot | slot | ... |
//                                                slot:  link | internal record
//
// Slots are cleared once.  Encoders count on it: a byte of the key area that none of
// them writes stays zero for the whole session.
#include "sort/incore/slots.h"

#include "session/arena.h"
#include "session/qha9msg.h"
#include "sort/external/mergesetup.h"
#include "sort/external/stringmaker.h"
#include "sort/incore/quicksort.h"

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

constexpr uint64_t pointerbytes = sizeof(void *);
constexpr uint64_t stackbytes = arenaround(qstackpairs * sizeof(sortpair));

bool carvepool(qha5ctx *ctx, uint8_t *next, uint64_t left) {
    if (left <= stackbytes)
        return false;
    ctx->qstack = reinterpret_cast<sortpair *>(next);
    ctx->qstackend = ctx->qstack + qstackpairs;
    next += stackbytes;
    left -= stackbytes;

    ctx->slotstride = static_cast<uint32_t>(arenaround(sizeof(slot) + ctx->intreclen));
    ctx->slotcount = static_cast<uint32_t>(left / (ctx->slotstride + pointerbytes));
    if (ctx->slotcount < 2)
        return false;
    ctx->slotptrs = reinterpret_cast<slot **>(next);
    ctx->slotfirst = reinterpret_cast<slot *>(next + ctx->slotcount * pointerbytes);
    return true;
}

void chainslots(qha5ctx *ctx) {
    uint8_t *at = reinterpret_cast<uint8_t *>(ctx->slotfirst);
    std::memset(at, 0, static_cast<size_t>(ctx->slotstride) * ctx->slotcount);
    for (uint32_t i = 1; i < ctx->slotcount; i++, at += ctx->slotstride)
        reinterpret_cast<slot *>(at)->link = reinterpret_cast<slot *>(at + ctx->slotstride);
    ctx->slotnext = ctx->slotfirst;
    ctx->slotused = 0;
    ctx->external = 0;
}

// How many records are set aside before a string ends: all but about a WB full.  With
// few slots the formula leaves the range in which the tree of strings works.
uint32_t stringlimit(uint32_t slots, uint32_t records) {
    const int64_t n = slots;
    const int64_t k = records;
    const int64_t limit = n - (k + 1 - k * k / n);
    return static_cast<uint32_t>(std::clamp<int64_t>(limit, 1, n - 1));
}

// What the ordering of blocks and the narrowest final merge take of sortfree.
uint64_t laterneed(const qha5ctx *ctx) {
    const uint64_t records = ctx->recperwb;
    const uint64_t list = (uint64_t{ctx->idxperwb} + sparelistentries) * ctx->idxentlen;
    const uint64_t held = ctx->recfunc != rf_none ? uint64_t{ctx->intreclen} + ctx->sumlen : 0;
    const uint64_t told =
        (ctx->intreclen + sizeof(recnode)) * (records + 1) + records * sizeof(recnode);
    const uint64_t widthtwo = mergeneed(ctx->idxentlen, ctx->idxperwb, ctx->wbsize, ctx->recperwb);
    return held + std::max(list + told, widthtwo);
}

bool laterphasesfit(qha5ctx *ctx) {
    ctx->recperwb = ctx->wbsize / ctx->intreclen;
    ctx->idxperwb = ctx->wbsize / ctx->idxentlen;
    ctx->frozenlimit = stringlimit(ctx->slotcount, ctx->recperwb);
    return ctx->recperwb != 0 && ctx->idxperwb >= 2 && laterneed(ctx) <= ctx->sortfree;
}

// True when the record at the block's next is taken out by selection.
bool dropped(qha5ctx *ctx, blockhdr *block, int32_t *size) {
    *size = ctx->selecteval(ctx, block->next);
    if (*size <= 0)
        return false;
    ++ctx->selectcount;
    --block->count;
    block->next += *size;
    return true;
}

blockhdr *stop(blockhdr *block) {
    block->iostat = io_failed;
    return block;
}

// A record waits and no slot is free: the same block goes on to string creation.
blockhdr *overflow(qha5ctx *ctx, blockhdr *block) {
    return goexternal(ctx) == 0 ? ctx->intake(ctx, block) : stop(block);
}

} // namespace

int layoutpool(qha5ctx *ctx, uint8_t *next, uint32_t left) {
    if (!carvepool(ctx, next, left))
        return fail(ctx, msg_nostorage, KVRN_D_STORAGE);
    chainslots(ctx);
    return laterphasesfit(ctx) ? 0 : fail(ctx, msg_nostorage, KVRN_D_STORAGE);
}

blockhdr *fillslots(qha5ctx *ctx, blockhdr *block) {
    block->iostat = io_done;
    ctx->scanlimit = block->limit;
    while (block->next < block->limit && ctx->slotused < ctx->slotcount) {
        int32_t size = 0;
        if (ctx->selectopt == 1 && dropped(ctx, block, &size))
            continue;
        if (size == -1)
            return stop(block);
        size = ctx->encode(ctx, block->next, ctx->slotnext->record());
        if (size == -1)
            return stop(block);
        ++ctx->slotused;
        --block->count;
        block->next += size;
        ctx->slotnext = ctx->slotnext->link;
    }
    return block->next < block->limit ? overflow(ctx, block) : block;
}

int sortslots(qha5ctx *ctx, uint32_t n) {
    if (n == 0)
        return 0;
    ++ctx->stringcount;
    slot *at = ctx->slotfirst;
    for (uint32_t i = 0; i < n; i++, at = at->link) {
        if (at == nullptr)
            return faillogic(ctx);
        ctx->slotptrs[i] = at;
    }
    return quicksort(ctx, ctx->slotptrs, n);
}

} // namespace kvern
