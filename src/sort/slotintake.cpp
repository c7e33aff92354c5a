#include "sort/steps.h"

#include "select/select.h"
#include "sort/external/external.h"
#include "sort/record/rawrecord.h"

namespace kvern {
namespace {

// True when the record at the block's next is taken out by selection.
bool dropped(qha5ctx *ctx, blockhdr *block, int32_t *size) {
    *size = ctx->selecteval(ctx, block->next);
    if (*size <= 0)
        return false;
    countdropped(ctx);
    --block->count;
    block->next += *size;
    return true;
}

blockhdr *failintake(blockhdr *block) {
    block->iostat = io_failed;
    return block;
}

// A record waits and no slot is free: the same block goes on to string creation.
blockhdr *overflow(qha5ctx *ctx, blockhdr *block) {
    return goexternal(ctx) == 0 ? ctx->intake(ctx, block) : failintake(block);
}

} // namespace

blockhdr *fillslots(qha5ctx *ctx, blockhdr *block) {
    block->iostat = io_done;
    scanwithin(ctx, block);
    while (block->next < block->limit && ctx->slotused < ctx->slotcount) {
        int32_t size = 0;
        if (ctx->selectopt && dropped(ctx, block, &size))
            continue;
        if (size == -1)
            return failintake(block);
        size = ctx->encode(ctx, block->next, ctx->slotnext->record());
        if (size == -1)
            return failintake(block);
        ++ctx->slotused;
        --block->count;
        block->next += size;
        ctx->slotnext = ctx->slotnext->link;
    }
    return block->next < block->limit ? overflow(ctx, block) : block;
}

} // namespace kvern
