#include "merge/mergeflow.h"

#include "session/counts.h"
#include "sort/convert/emit.h"

namespace kvern {

int32_t stepmerge(qha5ctx *ctx) {
    ctx->mergectl->doneblock = ctx->mergectl->outblock;
    return ctx->selectfn(ctx);
}

blockhdr *takeinblock(qha5ctx *ctx) {
    mergecontrol &control = *ctx->mergectl;
    blockhdr *block = control.spareblock;
    if (block == nullptr) {
        block = ctx->idleblocks;
        if (block == nullptr)
            return nullptr;
        ctx->idleblocks = block->link;
    }
    control.spareblock = nullptr;
    block->blockinput = control.nextinput;
    block->state = bs_free; // no end mark
    beginoutput(block);
    return block;
}

namespace {

int32_t readinblock(qha5ctx *ctx) {
    mergecontrol &control = *ctx->mergectl;
    const uint32_t input = control.nextinput;
    filectl *file = ctx->infiles[input];
    file->block = takeinblock(ctx);
    if (file->block == nullptr)
        return faillogic(ctx);
    const int32_t got = file->readfn(ctx, file);
    if (got < 0)
        return -1;
    control.inblock = nullptr;
    if (got == 0)
        return 0;
    if (countin(ctx, input, file->block->count) != 0)
        return -1;
    ++file->blockcount;
    control.inblock = file->block;
    control.inblock->next = control.inblock->first;
    return 0;
}

} // namespace

int32_t stepfiles(qha5ctx *ctx) {
    ctx->mergectl->inblock = nullptr;
    if (ctx->mergectl->needinput && readinblock(ctx) != 0)
        return -1;
    return stepmerge(ctx);
}

int32_t writeoutblock(qha5ctx *ctx) {
    filectl *file = ctx->outfile;
    file->block = ctx->mergectl->outblock;
    countout(ctx, file->block->count);
    ++file->blockcount;
    return file->writefn(ctx, file) < 0 ? -1 : 0;
}

bool atend(const qha5ctx *ctx) {
    const blockhdr *block = ctx->mergectl->outblock;
    return block != nullptr && block->count == 0;
}

int32_t endmerge(qha5ctx *ctx) {
    if (ctx->mergectl->needinput)
        return faillogic(ctx);
    return merge_ended;
}

int32_t breakmerge(qha5ctx *ctx) {
    ctx->mergefn = nullptr;
    return merge_failed;
}

} // namespace kvern
