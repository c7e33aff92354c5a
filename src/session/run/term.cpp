#include "merge/sum/equalkeys.h"
#include "session/run/steps.h"

#include "file/manager/fmgrlibrary.h"
#include "session/busy.h"
#include "session/counts.h"
#include "session/qha9msg.h"
#include "sort/external/tempfile.h"
#include "sort/record/recordform.h"

namespace kvern {

namespace {

// What a failure or an early close left open, and all files of a merge.  A session that
// did not come to its end has failed for whoever keeps its output, and so has one of
// which a close failed.
int closefiles(qha5ctx *ctx) {
    int result = 0;
    const auto closeone = [ctx, &result](filectl *file) {
        if ((file == nullptr) || !file->isopen)
            return;
        if (ctx->state != st_finished || result != 0)
            fmgrfail(ctx);
        if (file->closefn(ctx, file) != 0)
            result = -1;
    };
    if (!ctx->apiinput && !ctx->stdinopt && (ctx->infiles != nullptr))
        for (uint32_t i = ctx->filecount; i-- != 0;)
            closeone(ctx->infiles[i]);
    if (!ctx->apioutput && !ctx->stdoutopt)
        closeone(ctx->outfile);
    return result;
}

void mergestatistics(qha5ctx *ctx) {
    if (countslate(ctx))
        settletaken(ctx);
    point(ctx, msg_inputrecords, lv_summary, ctx->incount);
    if (ctx->selectopt)
        point(ctx, msg_filtered, lv_perfile, ctx->selectcount);
    notefolded(ctx, lv_perfile);
}

const char *outputtold(const qha5ctx *ctx) {
    if (!ctx->apioutput)
        return ctx->outfile->name != nullptr ? ctx->outfile->name : "stdout";
    return ctx->function == KVRN_SORT ? "kvrnget" : "kvrnmrge";
}

// Every record taken in was delivered or dropped for a reason.  The counts of a copy
// wrap, so their sum does.
int checkbalance(qha5ctx *ctx) {
    const uint32_t accounted = ctx->outcount + foldedcount(ctx) + ctx->selectcount;
    return accounted == ctx->incount ? 0 : faillogic(ctx);
}

int settle(qha5ctx *ctx) {
    if (ctx->function == KVRN_MERGE)
        mergestatistics(ctx);
    const int result = checkbalance(ctx);
    if (ctx->sumopt || ctx->suppressopt || ctx->selectopt)
        point(ctx, msg_suppressed, lv_summary, foldedcount(ctx) + ctx->selectcount);
    if (!ctx->apioutput)
        point(ctx, msg_outputblocks, lv_inner, ctx->outfile->blockcount);
    ctx->msgarg1 = msgarg::of(outputtold(ctx));
    return result;
}

// A sort that ran to its end has deleted its temporary files already.
int removetemps(qha5ctx *ctx) {
    if (!ctx->tempused)
        return 0;
    return deletetemps(ctx);
}

int stopmanager(qha5ctx *ctx) {
    return ctx->fmgrmodule != nullptr ? fmgrstop(ctx) : 0;
}

// 0 or -1: all that must go before the memory does.  Each is done whatever became of
// the others.
int windup(qha5ctx *ctx, bool clean) {
    const bool filesmade = ctx->state != st_created;
    const int removed = filesmade ? removetemps(ctx) : 0;
    const int closed = filesmade ? closefiles(ctx) : 0;
    const int stopped = stopmanager(ctx);
    if (removed != 0 || closed != 0 || stopped != 0)
        return -1;
    return clean ? settle(ctx) : 0;
}

} // namespace

// Without ctxhandle there is nothing to end, decided: the memory that ctx points to was
// freed by an earlier call, and must not be looked at.
int endsession(KVRNSESS *sess) {
    if ((sess->ctx == nullptr) || (sess->ctxhandle == nullptr))
        return 0;
    auto *ctx = static_cast<qha5ctx *>(sess->ctx);
    if (ctx->busy)
        return refusepassing(ctx, sess, KVRN_D_NOTHINGOPEN);
    if (ctx->userblk != sess) {
        sess->detail = KVRN_D_NOTYOURS;
        return -1;
    }
    ctx->busy = true;
    const bool failed = ctx->errdetail != 0;
    const bool clean = !failed && ctx->state == st_finished;
    const bool early = !failed && !clean;
    int result = early ? 1 : 0;
    if (windup(ctx, clean) != 0)
        result = callfailed(ctx, sess);
    result = endcall(ctx, result);
    ctxrelease(ctx, sess);
    return result;
}

} // namespace kvern
