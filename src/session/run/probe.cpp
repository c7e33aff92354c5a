// A record is looked at and the session left as it is: the same tests in the same order as
// where it is taken, so that a probe fails where the record would.  A sort lays its storage
// out anew when its input ends; from then on there is nothing left to probe with.

#include "sort/convert/probe.h"

#include "session/busy.h"
#include "session/qha9msg.h"
#include "session/run/steps.h"
#include "sort/record/blockrecord.h"

namespace kvern {

namespace {

int refuseuse(qha5ctx *ctx, KVRNSESS *sess) {
    if (ctx->errdetail != 0)
        return refusepassing(ctx, sess, ctx->errdetail);
    const bool merging = ctx->function == KVRN_MERGE;
    return refusepassing(ctx, sess, merging ? KVRN_D_MERGEUSE : KVRN_D_PUTUSE);
}

bool probedue(const qha5ctx *ctx) {
    if (ctx->busy || ctx->errdetail != 0)
        return false;
    return ctx->putblock != nullptr || (ctx->state == st_mergeopen && ctx->mergefn != nullptr);
}

// 0 the record is kept, 1 dropped.
int keeps(qha5ctx *ctx, const uint8_t *record) {
    if (!ctx->selectopt)
        return 0;
    const int32_t dropped = ctx->selectalone(ctx, record);
    return dropped > 0 ? 1 : dropped;
}

// Without a key the filter alone is asked.
int look(qha5ctx *ctx, KVRNSESS *sess, const uint8_t *record, uint32_t length, uint8_t *key) {
    if (record == nullptr)
        return refusepassing(ctx, sess, KVRN_D_NORECORD);
    if (const uint32_t detail = ctx->refusal(ctx, record, length); detail != 0)
        return refusepassing(ctx, sess, detail);
    const probemark quiet(ctx);
    const scanalone within(ctx, record + length);
    int result = keeps(ctx, record);
    if (result == 0 && key != nullptr)
        result = ctx->probe(ctx, record, length, key);
    return result < 0 ? refusepassing(ctx, sess, quiet.detail()) : endcall(ctx, result);
}

} // namespace

void wirerefusal(qha5ctx *ctx) {
    constexpr decltype(session_fields::refusal) byform[recordforms] = {
        refusalof<fixedrecord>, refusalof<variablerecord>, refusalof<textrecord>,
        refusalof<textrecord>};
    const bool inblocks = !ctx->apiinput || (ctx->recoprat & KVRN_PUT_BLOCK) != 0;
    ctx->refusal = istext(ctx) && inblocks ? refusalof<blockline> : byform[formof(ctx)];
}

int keycall(qha5ctx *ctx, KVRNSESS *sess, const void *record, uint32_t length, void *key,
            unsigned *keylen) {
    if (!probedue(ctx))
        return refuseuse(ctx, sess);
    if (keylen == nullptr)
        return refusepassing(ctx, sess, KVRN_D_NORECORD);
    const uint32_t room = key != nullptr ? *keylen : 0;
    *keylen = probedlength(ctx);
    if (room < *keylen)
        return refusepassing(ctx, sess, KVRN_D_STORAGE);
    return look(ctx, sess, static_cast<const uint8_t *>(record), length,
                static_cast<uint8_t *>(key));
}

int testcall(qha5ctx *ctx, KVRNSESS *sess, const void *record, uint32_t length) {
    if (!probedue(ctx))
        return refuseuse(ctx, sess);
    return look(ctx, sess, static_cast<const uint8_t *>(record), length, nullptr);
}

} // namespace kvern
