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
#include "sort/incore/quicksort.h"

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
    memset(at, 0, static_cast<size_t>(ctx->slotstride) * ctx->slotcount);
    for (uint32_t i = 1; i < ctx->slotcount; i++, at += ctx->slotstride)
        reinterpret_cast<slot *>(at)->link = reinterpret_cast<slot *>(at + ctx->slotstride);
    ctx->slotnext = ctx->slotfirst;
    ctx->slotused = 0;
    ctx->external = false;
}

} // namespace

int layoutpool(qha5ctx *ctx, uint8_t *next, uint32_t left) {
    if (!carvepool(ctx, next, left))
        return fail(ctx, msg_nostorage, KVRN_D_STORAGE);
    chainslots(ctx);
    return 0;
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
