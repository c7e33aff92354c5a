// A file that fails is closed on the spot; its message is out by then, so the
// result of that close is not looked at.

#include "session/run/steps.h"

#include "file/filectl.h"
#include "file/manager/fmgrlibrary.h"
#include "session/counts.h"
#include "sort/sort.h"

namespace kvern {

namespace {

// Blocks of an open file into the sort.  The count of a text block is settled by
// the sort alone, so it starts from 0.
int readblocks(qha5ctx *ctx, filectl *file, uint32_t input) {
    for (;;) {
        file->block->count = 0;
        const int32_t got = file->readfn(ctx, file);
        if (got < 0 || countin(ctx, input, file->block->count) != 0)
            return -1;
        if (got == 0)
            return 0;
        ++file->blockcount;
        file->block->next = file->block->first;
        blockhdr *next = feedblock(ctx, file->block);
        if (next == nullptr)
            return -1;
        file->block = next;
    }
}

int readinput(qha5ctx *ctx, filectl *file, uint32_t input) {
    if (openinput(ctx, file) != 0)
        return -1;
    if (readblocks(ctx, file, input) != 0) {
        fmgrfail(ctx);
        (void)closeinput(ctx, file);
        return -1;
    }
    return closeinput(ctx, file);
}

int writeblocks(qha5ctx *ctx, filectl *file) {
    for (;;) {
        blockhdr *block = drawblock(ctx, file->block);
        if (block == nullptr)
            return -1;
        file->block = block;
        countout(ctx, block->count);
        if (block->count == 0)
            return 0;
        const int32_t written = file->writefn(ctx, file);
        if (written < 0)
            return -1;
        ++file->blockcount;
        if (written == 0)
            return 0;
    }
}

} // namespace

int readinputs(qha5ctx *ctx) {
    const uint32_t inputs = ctx->stdinopt ? 1 : ctx->filecount;
    blockhdr *block = ctx->putblock;
    ctx->putblock = nullptr;
    for (uint32_t input = 0; input < inputs; ++input) {
        filectl *file = ctx->infiles[input];
        file->block = block;
        if (readinput(ctx, file, input) != 0)
            return -1;
        block = file->block;
    }
    ctx->getblock = endinput(ctx, block);
    if (ctx->getblock == nullptr)
        return -1;
    ctx->getblock->count = 0;
    return 0;
}

int writeoutput(qha5ctx *ctx) {
    filectl *file = ctx->outfile;
    file->block = ctx->getblock;
    ctx->getblock = nullptr;
    if (openoutput(ctx, file) != 0)
        return -1;
    if (writeblocks(ctx, file) != 0) {
        fmgrfail(ctx);
        (void)closeoutput(ctx, file);
        return -1;
    }
    return closeoutput(ctx, file);
}

} // namespace kvern
