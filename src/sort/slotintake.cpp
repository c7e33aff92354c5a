#include "sort/steps.h"

#include "select/select.h"
#include "sort/external/external.h"
#include "sort/incore/slots.h"
#include "sort/record/rawrecord.h"

namespace kvern {
namespace {

blockhdr *failintake(blockhdr *block) {
    block->iostat = io_failed;
    return block;
}

// A record waits and no slot is free: the same block goes on to string creation.
blockhdr *overflow(qha5ctx *ctx, blockhdr *block) {
    return goexternal(ctx) == 0 ? ctx->intake(ctx, block) : failintake(block);
}

template <bool selecting>
blockhdr *fillslots(qha5ctx *ctx, blockhdr *block) {
    block->iostat = io_done;
    scanwithin(ctx, block);
    while (block->next < block->limit && (ctx->slotused < ctx->slotready || addslots(ctx))) {
        if constexpr (selecting) {
            const int32_t dropped = dropnext(ctx, block);
            if (dropped < 0)
                return failintake(block);
            if (dropped > 0) {
                --block->count;
                continue;
            }
        }
        const int32_t taken = ctx->encode(ctx, block->next, ctx->slotnext->record());
        if (taken < 0)
            return failintake(block);
        ++ctx->slotused;
        --block->count;
        block->next += taken;
        ctx->slotnext = ctx->slotnext->link;
    }
    return block->next < block->limit ? overflow(ctx, block) : block;
}

} // namespace

blockroutine chooseintake(const qha5ctx *ctx) {
    return ctx->selectopt ? fillslots<true> : fillslots<false>;
}

} // namespace kvern
