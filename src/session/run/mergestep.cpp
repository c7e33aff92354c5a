// Files stay open until the session is closed.  The output is opened, and so emptied,
// before the inputs: intended, a missing input costs what the output held.

#include "session/run/steps.h"

#include "file/filectl.h"
#include "merge/merge.h"
#include "merge/mergeflow.h"
#include "session/busy.h"

namespace kvern {

namespace {

int openfiles(qha5ctx *ctx) {
    if (!ctx->apioutput && openoutput(ctx, ctx->outfile) != 0)
        return -1;
    if (ctx->apiinput)
        return 0;
    for (uint32_t i = ctx->filecount; i-- != 0;)
        if (ctx->infiles[i]->openfn(ctx, ctx->infiles[i]) != 0)
            return -1;
    return 0;
}

int mergeon(qha5ctx *ctx) {
    const int result = ctx->mergefn(ctx);
    if (result == merge_ended)
        ctx->state = st_finished;
    return result;
}

} // namespace

int openmerge(qha5ctx *ctx, KVRNSESS *sess) {
    if (preparemerge(ctx) != 0)
        return -1;
    wirerefusal(ctx);
    if (ctx->apiinput)
        sess->mergestat = KVRN_WANTS_RECORD;
    wiredriver(ctx);
    if (openfiles(ctx) != 0)
        return -1;
    ctx->state = st_mergeopen;
    if (ctx->apiinput || ctx->apioutput)
        return 0;
    return mergeon(ctx) < 0 ? -1 : 0;
}

int mergecall(qha5ctx *ctx, KVRNSESS *sess) {
    if ((ctx->mergefn == nullptr) || ctx->state != st_mergeopen || ctx->userblk != sess)
        return refusecall(ctx, sess, KVRN_D_MERGEUSE);
    const int result = mergeon(ctx);
    return result < 0 ? callfailed(ctx, sess) : result;
}

} // namespace kvern
