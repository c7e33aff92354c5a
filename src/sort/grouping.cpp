// Of records with equal keys, which the sort has brought side by side, one goes
// out: the first, which waits in holdrec until a record with another key follows.
//
//   sorted   a a a b ...      held a | absorbs a, a | b: a goes out, b is held
//
// A sum that cannot be made ends summation for the session: the
// held record goes out as it is, and after it each record by itself.  A block
// without room ends the call at any point; the next call goes on from holdvalid and
// outpos.
#include "sort/steps.h"

#include "merge/sum/equalkeys.h"
#include "sort/incore/keycompare.h"

namespace kvern {
namespace {

class heldoutput {
  public:
    heldoutput(qha5ctx *session, blockhdr *output)
        : ctx(session), block(output), emit(chooseemit(session)) {}

    // 0 all is out, 1 the block is full, -1 failed.
    int32_t run() {
        if (ctx->outdone)
            return 0;
        int32_t status = isfolding(ctx) ? group() : 0;
        if (status == 0 && ctx->holdvalid)
            status = placeheld();
        if (status == 0)
            status = placerest();
        if (status == 0)
            ctx->outdone = true;
        return status;
    }

  private:
    qha5ctx *ctx;
    blockhdr *block;
    emitroutine emit;

    const uint8_t *record() const { return ctx->slotptrs[ctx->outpos]->record(); }

    // Until the records end or summation does; what is held then still waits.
    int32_t group() {
        while (ctx->outpos < ctx->seqno) {
            const meeting met = ctx->holdvalid ? meet(record()) : meeting::apart;
            if (met == meeting::failed)
                return -1;
            if (!isfolding(ctx))
                return 0;
            if (met == meeting::apart) {
                const int32_t status = ctx->holdvalid ? placeheld() : 0;
                if (status != 0)
                    return status;
                memcpy(ctx->holdrec, record(), ctx->intreclen);
                ctx->holdvalid = true;
            }
            ++ctx->outpos;
        }
        return 0;
    }

    meeting meet(const uint8_t *next) {
        if (keycompare(ctx->holdrec, next, ctx->keylen) != 0)
            return meeting::apart;
        return meetequal(ctx, ctx->holdrec, next);
    }

    int32_t place(const uint8_t *internal) {
        const int32_t status = emit(ctx, block, internal);
        if (status == 0)
            ++block->count;
        return status;
    }

    int32_t placeheld() {
        const int32_t status = place(ctx->holdrec);
        if (status == 0)
            ctx->holdvalid = false;
        return status;
    }

    int32_t placerest() {
        for (; ctx->outpos < ctx->seqno; ++ctx->outpos)
            if (const int32_t status = place(record()); status != 0)
                return status;
        return 0;
    }
};

blockhdr *delivergrouped(qha5ctx *ctx, blockhdr *block) {
    beginoutput(block);
    const int32_t status = heldoutput(ctx, block).run();
    return endoutput(block, status);
}

} // namespace

blockroutine choosedeliver(const qha5ctx *ctx) {
    return ctx->recfunc != rf_none ? delivergrouped : chooseplain(ctx);
}

} // namespace kvern
