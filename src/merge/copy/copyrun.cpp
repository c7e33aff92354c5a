// A plain copy of fixed records or lines hands the input block to the output file as
// it stands: no byte is moved in memory.  Everything else goes through the output
// block, which is carried over from input to input and written when it is full.
//
// Counts of records wrap at 2^32, all alike; no block holds as many, so the totals
// that are asked for follow them block by block.
#include "merge/copy/copy.h"

#include "file/filectl.h"
#include "merge/copy/copystep.h"
#include "merge/copy/linecount.h"
#include "session/counts.h"
#include "session/qha9msg.h"
#include "sort/record/rawrecord.h"
#include "sort/record/recordform.h"

#include <cstring>

namespace kvern {
namespace {

constexpr uint8_t linefeed = 0x0A;

// ---- counting ---------------------------------------------------------------

// The read counted already.
void keepcount(const qha5ctx *, blockhdr *) {}

// Line feeds, whatever the session's delimiter is: a copy of lines that end in a
// carriage return counts none, intended.
void countfeeds(const qha5ctx *, blockhdr *block) {
    block->count = countbyte(block->first, block->limit, linefeed);
}

void countlines(const qha5ctx *ctx, blockhdr *block) {
    block->count = counttext(block->first, block->limit, ctx->linedlmt, ctx->linedlmtlen);
}

// The run's routines, by record form and by what happens to the records.
struct copyroutines {
    // Settles the count of a block that was read.
    void (*countblock)(const qha5ctx *ctx, blockhdr *block);
    // Takes an open input to its end; 0 or -1.
    int (*copyinput)(qha5ctx *ctx, const copyroutines &run, filectl *file, uint32_t input);
    steproutine step; // null where blocks go out as they came
};

// Bytes in the block, 0 at the end of the file, -1 failed.
int32_t readcounted(qha5ctx *ctx, const copyroutines &run, filectl *file, uint32_t input) {
    blockhdr *block = file->block;
    const int32_t got = file->readfn(ctx, file);
    if (got <= 0)
        return got;
    run.countblock(ctx, block);
    countcopied(ctx, input, block->count);
    ++file->blockcount;
    block->next = block->first;
    return got;
}

int writecounted(qha5ctx *ctx) {
    filectl *file = ctx->outfile;
    countout(ctx, file->block->count);
    ++file->blockcount;
    return file->writefn(ctx, file) < 0 ? -1 : 0;
}

void emptyblock(blockhdr *block) {
    block->next = block->limit = block->first;
    block->count = 0;
}

// ---- one open input to its end ----------------------------------------------

int passblock(qha5ctx *ctx, const copyroutines &run, filectl *file, uint32_t input) {
    ctx->outfile->block = file->block;
    int32_t got;
    while ((got = readcounted(ctx, run, file, input)) > 0)
        if (writecounted(ctx) != 0)
            return -1;
    return got;
}

// Takes the padding from between the records.
int packrecords(qha5ctx *ctx, blockhdr *in, blockhdr *out) {
    scanwithin(ctx, in);
    emptyblock(out);
    for (uint32_t left = in->count; left != 0; --left) {
        uint32_t length;
        if (in->next >= in->limit)
            return fail(ctx, msg_badlength, KVRN_D_RECLEN);
        if (!takevariable(ctx, in->next, &length))
            return -1;
        memcpy(out->next, in->next, lengthword + length);
        in->next += paddedlength(length);
        out->next += lengthword + length;
        ++out->count;
    }
    out->limit = out->next;
    return 0;
}

int copypacked(qha5ctx *ctx, const copyroutines &run, filectl *file, uint32_t input) {
    int32_t got;
    while ((got = readcounted(ctx, run, file, input)) > 0)
        if (packrecords(ctx, file->block, ctx->outfile->block) != 0 || writecounted(ctx) != 0)
            return -1;
    return got;
}

int flushoutput(qha5ctx *ctx) {
    if (writecounted(ctx) != 0)
        return -1;
    emptyblock(ctx->outfile->block);
    return 0;
}

int transform(qha5ctx *ctx, const copyroutines &run, filectl *file, uint32_t input) {
    int32_t got;
    while ((got = readcounted(ctx, run, file, input)) > 0) {
        int32_t step;
        do {
            step = run.step(ctx, file->block, ctx->outfile->block);
            if (step < 0 || (step != cr_inused && flushoutput(ctx) != 0))
                return -1;
        } while (step == cr_outfull);
    }
    return got;
}

constexpr copyroutines plainruns[recordforms] = {
    {keepcount, passblock, nullptr},
    {keepcount, copypacked, nullptr},
    {countfeeds, passblock, nullptr},
    {countfeeds, passblock, nullptr},
};
constexpr copyroutines changingruns[recordforms] = {
    {keepcount, transform, nullptr},
    {keepcount, transform, nullptr},
    {countlines, transform, nullptr},
    {countlines, transform, nullptr},
};

copyroutines chooserun(const qha5ctx *ctx) {
    if (!ctx->selectopt && !ctx->reconopt)
        return plainruns[formof(ctx)];
    copyroutines run = changingruns[formof(ctx)];
    run.step = choosestep(ctx);
    return run;
}

int copyfile(qha5ctx *ctx, const copyroutines &run, uint32_t input) {
    filectl *file = ctx->infiles[input];
    if (openinput(ctx, file) != 0 || run.copyinput(ctx, run, file, input) != 0)
        return -1;
    return closeinput(ctx, file);
}

} // namespace

int runcopy(qha5ctx *ctx) {
    if (openoutput(ctx, ctx->outfile) != 0)
        return -1;
    const copyroutines run = chooserun(ctx);
    for (uint32_t input = 0; input < ctx->filecount; ++input)
        if (copyfile(ctx, run, input) != 0)
            return -1;
    const bool filled = run.step != nullptr && ctx->outfile->block->count != 0;
    if (filled && flushoutput(ctx) != 0)
        return -1;
    return closeoutput(ctx, ctx->outfile);
}

} // namespace kvern
