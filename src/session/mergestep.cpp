#include "session/mergestep.h"

#include "session/busy.h"

namespace kvern {

int mergecall(qha5ctx *ctx, KVRNSESS *sess) {
    if (!ctx->mergefn || ctx->state != st_mergeopen)
        return refusecall(ctx, sess, KVRN_D_MERGEUSE);
    const int result = ctx->mergefn(ctx);
    return result < 0 ? callfailed(ctx, sess) : result;
}

} // namespace kvern
