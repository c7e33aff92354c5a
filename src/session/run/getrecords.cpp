// The caller is shown the place of its record in the block, which holds until
// the next call draws into the block.  Variable records lie unpadded there.

#include "session/run/steps.h"

#include "session/busy.h"
#include "session/counts.h"
#include "session/qha9msg.h"
#include "sort/record/blockrecord.h"
#include "sort/sort.h"

namespace kvern {

namespace {

void countgot(qha5ctx *ctx, KVRNSESS *sess, uint32_t records) {
    sess->getcount += records;
    countout(ctx, records);
    ctx->getblock->count -= records;
}

template <class form>
int getrecord(qha5ctx *ctx, KVRNSESS *sess) {
    const recordspan record = form::show(ctx, ctx->getblock, ctx->linedlmtlen);
    sess->recaddr = record.bytes;
    sess->reclen = record.length;
    countgot(ctx, sess, 1);
    return 0;
}

int getwhole(qha5ctx *ctx, KVRNSESS *sess) {
    const blockhdr *block = ctx->getblock;
    sess->recaddr = block->first;
    sess->reclen = static_cast<uint32_t>(block->limit - block->first);
    countgot(ctx, sess, block->count);
    return 0;
}

int getwrong(qha5ctx *ctx, KVRNSESS *sess) {
    fail(ctx, msg_getuse, KVRN_D_GETUSE);
    return callfailed(ctx, sess);
}

constexpr callroutine recordgets[recordforms] = {getrecord<fixedrecord>, getrecord<variablerecord>,
                                                 getrecord<textrecord>, getrecord<textrecord>};

int endgets(qha5ctx *ctx, KVRNSESS *sess) {
    ctx->getblock = nullptr;
    ctx->state = st_finished;
    sess->recaddr = nullptr;
    sess->code = KVRN_END;
    if (ctx->link != nullptr)
        ctx->link->chkg = qha5chkg;
    return 1;
}

bool allgot(const qha5ctx *ctx) {
    return ctx->function == KVRN_SORT && ctx->apioutput && ctx->state == st_finished;
}

} // namespace

callroutine chooseget(const qha5ctx *ctx) {
    const uint32_t mode = ctx->recoprat & (KVRN_GET_RECORD | KVRN_GET_BLOCK);
    if (mode != KVRN_GET_RECORD && mode != KVRN_GET_BLOCK)
        return getwrong;
    return mode == KVRN_GET_RECORD ? recordgets[formof(ctx)] : getwhole;
}

int getcall(qha5ctx *ctx, KVRNSESS *sess) {
    if (allgot(ctx)) {
        sess->reclen = 0;
        return endgets(ctx, sess);
    }
    if ((ctx->getblock == nullptr) || (ctx->getfn == nullptr))
        return refusecall(ctx, sess, KVRN_D_GETUSE);
    sess->code = KVRN_RECORD;
    sess->reclen = 0;
    ctx->state = st_getting;
    if (ctx->getblock->count == 0) {
        blockhdr *block = ctx->getblock = drawblock(ctx, ctx->getblock);
        if (block == nullptr)
            return callfailed(ctx, sess);
        if (block->count == 0)
            return endgets(ctx, sess);
        block->next = block->first;
    }
    return ctx->getfn(ctx, sess);
}

} // namespace kvern
