#include "session/call/callorder.h"

#include "session/busy.h"
#include "session/qha9msg.h"
#include "session/run/run.h"
#include "sort/record/blockrecord.h"

namespace kvern {

namespace {

int refuseorder(qha5ctx *ctx, KVRNSESS *sess, msgno message, uint32_t detail) {
    fail(ctx, message, detail);
    return callfailed(ctx, sess);
}

int refuseorder(qha5ctx *ctx, KVRNSESS *sess, msgno message, uint32_t detail, const char *call) {
    fail(ctx, message, detail, call);
    return callfailed(ctx, sess);
}

bool codeknown(const KVRNSESS *sess) {
    return sess->code == KVRN_RECORD || sess->code == KVRN_END;
}

// Whether the session stands where kvrnmrge may be called at all.
bool mergedue(const qha5ctx *ctx, const KVRNSESS *sess) {
    return ctx->function == KVRN_MERGE && ctx->userblk == sess &&
           (!ctx->apiinput || codeknown(sess)) && sess->inputno < ctx->mergecount &&
           ctx->errdetail == 0 && (ctx->apiinput || ctx->apioutput) &&
           (ctx->state == st_ready || ctx->state == st_mergeopen);
}

// Whether the caller brings what the merge has asked for.
bool feeddue(const qha5ctx *ctx, const KVRNSESS *sess) {
    const mergecontrol *control = ctx->mergectl;
    if (control == nullptr)
        return false;
    if (!control->needinput)
        return sess->mergestat == KVRN_WANTS_NONE;
    return sess->mergestat == KVRN_WANTS_RECORD && sess->inputno == control->nextinput;
}

} // namespace

int checkedput(qha5ctx *ctx, KVRNSESS *sess) {
    if (ctx->userblk != sess || !codeknown(sess))
        return refuseorder(ctx, sess, msg_putuse, KVRN_D_PUTUSE);
    if (sess->code == KVRN_RECORD && (sess->recaddr == nullptr))
        return refuseorder(ctx, sess, msg_norecord, KVRN_D_NORECORD, "kvrnput");
    if (ctx->function != KVRN_SORT || ctx->errdetail != 0 || !ctx->apiinput ||
        (ctx->state != st_ready && ctx->state != st_putting))
        return refuseorder(ctx, sess, msg_putuse, KVRN_D_PUTUSE);
    return putcall(ctx, sess);
}

int checkedget(qha5ctx *ctx, KVRNSESS *sess) {
    sess->code = KVRN_RECORD;
    sess->reclen = 0;
    if (ctx->userblk != sess || ctx->function != KVRN_SORT || ctx->errdetail != 0 ||
        !ctx->apioutput || (ctx->state != st_sorted && ctx->state != st_getting))
        return refuseorder(ctx, sess, msg_getuse, KVRN_D_GETUSE);
    return getcall(ctx, sess);
}

int checkedmerge(qha5ctx *ctx, KVRNSESS *sess) {
    if (!mergedue(ctx, sess) || (ctx->apiinput && !feeddue(ctx, sess)))
        return refuseorder(ctx, sess, msg_mergeuse, KVRN_D_MERGEUSE);
    if (ctx->apiinput && sess->code == KVRN_RECORD) {
        if (sess->recaddr == nullptr)
            return refuseorder(ctx, sess, msg_norecord, KVRN_D_NORECORD, "kvrnmrge");
        if (!takeslength(ctx, sess->reclen))
            return refuseorder(ctx, sess, msg_reclength, KVRN_D_RECLEN, "kvrnmrge");
    }
    if (ctx->mergefn == nullptr)
        return refuseorder(ctx, sess, msg_mergeuse, KVRN_D_MERGEUSE);
    return mergecall(ctx, sess);
}

} // namespace kvern
