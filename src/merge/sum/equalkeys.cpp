#include "merge/sum/equalkeys.h"

#include "merge/sum/summation.h"
#include "session/qha9msg.h"

namespace kvern {

void beginfolding(qha5ctx *ctx) {
    ctx->folding = ctx->recfunc;
    if (ctx->recfunc == rf_sum)
        ctx->sumrebuild = choosesum(ctx);
}

int layoutsums(qha5ctx *ctx, workspace &space) {
    if (ctx->recfunc != rf_sum)
        return 0;
    ctx->sumbuf = carve<uint8_t>(ctx, space, ctx->sumlen);
    return ctx->sumbuf != nullptr ? 0 : -1;
}

meeting meetequal(qha5ctx *ctx, uint8_t *kept, const uint8_t *other) {
    if (ctx->folding == rf_suppress) {
        ++ctx->suppresscount;
        return meeting::absorbed;
    }
    const int32_t outcome = ctx->sumrebuild(ctx, kept, other);
    if (outcome < 0)
        return meeting::failed;
    if (outcome == 0) {
        ++ctx->sumcount;
        return meeting::absorbed;
    }
    ctx->folding = rf_none;
    return meeting::apart;
}

void notefolded(qha5ctx *ctx, int level) {
    if (ctx->sumopt)
        point(ctx, msg_folded, level, ctx->sumcount);
    if (ctx->suppressopt)
        point(ctx, msg_equalsgone, level, ctx->suppresscount);
}

} // namespace kvern
