// The slot pool over what is left of the working storage:
//
//   | sort stack | slotptrs, one pointer a slot | slot | slot | ... |
//                                                slot:  link | internal record
//
// Slots are cleared once, in front of those that are used, so that a short sort touches no
// more of the pool than it needs.  Encoders count on it: a byte of the key area that none of
// them writes stays zero for the whole session.
#include "sort/incore/slots.h"

#include "session/arena.h"
#include "session/qha9msg.h"
#include "sort/incore/quicksort.h"

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

constexpr uint64_t pointerbytes = sizeof(void *);
constexpr uint32_t readybytes = 64U << 10; // cleared together: still in cache when they are used
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

slot *slotat(const qha5ctx *ctx, uint32_t number) {
    return reinterpret_cast<slot *>(reinterpret_cast<uint8_t *>(ctx->slotfirst) +
                                    size_t{number} * ctx->slotstride);
}

} // namespace

int layoutpool(qha5ctx *ctx, uint8_t *next, uint32_t left) {
    if (!carvepool(ctx, next, left))
        return fail(ctx, msg_nostorage, KVRN_D_STORAGE);
    ctx->slotnext = ctx->slotfirst;
    ctx->slotused = 0;
    ctx->slotready = 0;
    ctx->external = false;
    return 0;
}

bool addslots(qha5ctx *ctx) {
    const uint32_t from = ctx->slotready, left = ctx->slotcount - from;
    const uint32_t more = std::min(left, std::max(readybytes / ctx->slotstride, 1U));
    if (more == 0)
        return false;
    memset(static_cast<void *>(slotat(ctx, from)), 0, size_t{more} * ctx->slotstride);
    ctx->slotready += more;
    for (uint32_t at = from; at < ctx->slotready; ++at)
        slotat(ctx, at)->link = at + 1 < ctx->slotcount ? slotat(ctx, at + 1) : nullptr;
    return true;
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
