#include "sort/external/external.h"

#include "session/qha9msg.h"
#include "sort/external/finalmerge.h"

#include <algorithm>

namespace kvern {
namespace {

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
    const uint64_t list = (uint64_t{ctx->idxperwb} + sparelist) * ctx->idxentlen;
    const uint64_t held = ctx->recfunc != rf_none ? uint64_t{ctx->intreclen} + ctx->sumlen : 0;
    const uint64_t told =
        (ctx->intreclen + sizeof(recnode)) * (records + 1) + records * sizeof(recnode);
    const uint64_t widthtwo = mergeneed(ctx->idxentlen, ctx->idxperwb, ctx->wbsize, ctx->recperwb);
    return held + std::max(list + told, widthtwo);
}

} // namespace

int reservespill(qha5ctx *ctx) {
    ctx->recperwb = ctx->wbsize / ctx->intreclen;
    ctx->idxperwb = ctx->wbsize / ctx->idxentlen;
    ctx->frozenlimit = stringlimit(ctx->slotcount, ctx->recperwb);
    const bool fits = ctx->recperwb != 0 && ctx->idxperwb >= 2 && laterneed(ctx) <= ctx->sortfree;
    return fits ? 0 : fail(ctx, msg_nostorage, KVRN_D_STORAGE);
}

} // namespace kvern
