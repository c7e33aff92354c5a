// From the last input block to the first output block.
//
// The counts are compared first: every record that was read is in a slot or a string
// (seqno), or selection dropped it.  Statistics points go with each step; they print
// nothing, but they leave their arguments in the context.
#include "sort/phases.h"

#include "key/phaseclock.h"
#include "session/qha9msg.h"
#include "sort/blockorder.h"
#include "sort/mergesetup.h"
#include "sort/slots.h"
#include "sort/stringmaker.h"

namespace kvern {
namespace {

constexpr uint8_t timedlevel = 3; // message level from which phases are timed

// The readers of text files do not count lines.
bool countsagree(qha5ctx *ctx) {
    const uint32_t taken = ctx->selectcount + ctx->seqno;
    if (ctx->recform == 'r' && ctx->apiinput != 1)
        ctx->incount = taken;
    return taken == ctx->incount;
}

void noteinput(qha5ctx *ctx, const char *name, uint32_t count) {
    setargs(ctx, msgarg::of(name), msgarg::of(count));
    report(ctx, 0, statpoint + 47, 4);
}

void noteinputs(qha5ctx *ctx) {
    if (ctx->apiinput == 1)
        return noteinput(ctx, "kvrnput", ctx->incount);
    if (ctx->recform == 'r')
        return;
    if (ctx->stdinopt == 1)
        return noteinput(ctx, "stdin", ctx->incount);
    for (uint32_t i = 0; i < ctx->filecount; i++) {
        const filectl *file = ctx->infiles[i];
        noteinput(ctx, file->name, ctx->perinput[i]);
        setargs(ctx, msgarg::of(file->name), msgarg::of(file->blockcount));
        report(ctx, 0, statpoint + 59, 6);
    }
}

void notecounts(qha5ctx *ctx) {
    noteinputs(ctx);
    setargs(ctx, msgarg::of(ctx->incount));
    report(ctx, 0, statpoint + 44, 3);
    if (ctx->selectopt == 1) {
        setargs(ctx, msgarg::of(ctx->selectcount));
        report(ctx, 0, statpoint + 49, 3);
    }
}

// Here alone a clock that fails is told in syserr too; intended.
void notetime(qha5ctx *ctx, int64_t *when) {
    if (ctx->msglevel < timedlevel)
        return;
    if (readclock(ctx, when))
        report(ctx, 0, statpoint + 56, 6);
    else
        ctx->errno_detail = ctx->errnum;
}

void notestrings(qha5ctx *ctx) {
    setargs(ctx, msgarg::of(ctx->stringcount));
    report(ctx, 0, statpoint + 58, 6);
}

int sortincore(qha5ctx *ctx) {
    notetime(ctx, &ctx->phase2end);
    report(ctx, 0, statpoint + 66, 6);
    if (sortslots(ctx, ctx->slotused) != 0)
        return -1;
    notestrings(ctx);
    return 0;
}

// The slots are no longer needed once the strings are out: ordering and merge have
// the storage from sortnext on one after the other.
int sortexternal(qha5ctx *ctx) {
    if (endstrings(ctx) != 0)
        return -1;
    notestrings(ctx);
    notetime(ctx, &ctx->phase2end);
    if (orderblocks(ctx) != 0)
        return -1;
    setargs(ctx, msgarg::of(ctx->wbcount));
    report(ctx, 0, statpoint + 63, 6);
    notetime(ctx, &ctx->phase3index);
    if (setupmerge(ctx) == 0)
        return 0;
    return ctx->cancelled == 1 ? -1 : faillogic(ctx);
}

} // namespace

int runphases(qha5ctx *ctx) {
    ctx->ordering = 1;
    if (!countsagree(ctx))
        return faillogic(ctx);
    notecounts(ctx);
    switch (ctx->external) {
    case 0:
        return sortincore(ctx);
    case 1:
        return sortexternal(ctx);
    default:
        return faillogic(ctx);
    }
}

} // namespace kvern
