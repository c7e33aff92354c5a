// The caller is shown the place of its record in the block, which holds until
// the next call draws into the block.  Variable records lie unpadded there.

#include "session/run/steps.h"

#include "key/text/textfields.h"
#include "session/busy.h"
#include "session/counts.h"
#include "session/qha9msg.h"
#include "sort/sort.h"

#include <cstring>

namespace kvern {

namespace {

struct recordspan {
    uint8_t *bytes;
    uint32_t length;
};

recordspan fixedrecord(const qha5ctx *ctx, const blockhdr *block) {
    return {block->next, ctx->outreclen};
}

recordspan variablerecord(const qha5ctx *, const blockhdr *block) {
    uint32_t length;
    memcpy(&length, block->next, sizeof length);
    return {block->next + sizeof length, length};
}

// A line ends with its delimiter; where none follows, with the first zero byte or
// the data.
recordspan textrecord(const qha5ctx *ctx, const blockhdr *block) {
    const auto left = static_cast<uint32_t>(block->limit - block->next);
    const int32_t length = textlength(ctx, block->next, block->limit);
    if (length < 0 || left - static_cast<uint32_t>(length) < ctx->linedlmtlen)
        return {block->next, left};
    return {block->next, static_cast<uint32_t>(length) + ctx->linedlmtlen};
}

void countout(qha5ctx *ctx, KVRNSESS *sess, uint32_t records) {
    sess->getcount += records;
    countout(ctx, records);
    ctx->getblock->count -= records;
}

template <recordspan (*locate)(const qha5ctx *, const blockhdr *)>
int getrecord(qha5ctx *ctx, KVRNSESS *sess) {
    blockhdr *block = ctx->getblock;
    const recordspan record = locate(ctx, block);
    sess->recaddr = record.bytes;
    sess->reclen = record.length;
    block->next = record.bytes + record.length;
    countout(ctx, sess, 1);
    return 0;
}

int getwhole(qha5ctx *ctx, KVRNSESS *sess) {
    const blockhdr *block = ctx->getblock;
    sess->recaddr = block->first;
    sess->reclen = static_cast<uint32_t>(block->limit - block->first);
    countout(ctx, sess, block->count);
    return 0;
}

int getwrong(qha5ctx *ctx, KVRNSESS *sess) {
    fail(ctx, msg_getuse, KVRN_D_GETUSE);
    return callfailed(ctx, sess);
}

struct getrow {
    uint8_t form;
    callroutine byrecord, byblock;
};
constexpr getrow getrows[] = {
    {'f', getrecord<fixedrecord>, getwhole},
    {'v', getrecord<variablerecord>, getwhole},
    {'r', getrecord<textrecord>, getwhole},
};

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
    for (const getrow &row : getrows)
        if (row.form == ctx->recform)
            return mode == KVRN_GET_RECORD ? row.byrecord : row.byblock;
    return getwrong;
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
