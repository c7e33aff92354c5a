// From the last input block to the first output block.
//
// The counts are compared first: every record that was read is in a slot or a string
// (seqno), or selection dropped it.  Statistics points go with each step; they print
// nothing, but they leave their arguments in the context.
#include "sort/steps.h"

#include "session/counts.h"
#include "session/phaseclock.h"
#include "session/qha9msg.h"
#include "sort/external/external.h"
#include "sort/incore/slots.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

// The readers of text files do not count lines.
bool countsagree(qha5ctx *ctx) {
    const uint32_t taken = ctx->selectcount + ctx->seqno;
    if (countslate(ctx))
        settletaken(ctx);
    return taken == ctx->incount;
}

void noteinput(qha5ctx *ctx, const char *name, uint32_t count) {
    point(ctx, msg_inputof, lv_perfile, name, count);
}

void noteinputs(qha5ctx *ctx) {
    if (ctx->apiinput)
        return noteinput(ctx, "kvrnput", ctx->incount);
    if (istext(ctx))
        return;
    if (ctx->stdinopt)
        return noteinput(ctx, "stdin", ctx->incount);
    for (uint32_t i = 0; i < ctx->filecount; i++) {
        const filectl *file = ctx->infiles[i];
        noteinput(ctx, file->name, ctx->perinput[i]);
        point(ctx, msg_inputblocks, lv_inner, file->name, file->blockcount);
    }
}

void notecounts(qha5ctx *ctx) {
    noteinputs(ctx);
    point(ctx, msg_inputrecords, lv_summary, ctx->incount);
    if (ctx->selectopt) {
        point(ctx, msg_filtered, lv_summary, ctx->selectcount);
    }
}

// Here alone a clock that fails is told in syserr too; intended.
void notetime(qha5ctx *ctx) {
    int64_t when;
    if (!istimed(ctx))
        return;
    if (readclock(ctx, &when))
        point(ctx, msg_phasetime, lv_inner);
    else
        tellsyserr(ctx, ctx->errnum);
}

void notestrings(qha5ctx *ctx) {
    point(ctx, msg_strings, lv_inner, ctx->stringcount);
}

int sortincore(qha5ctx *ctx) {
    notetime(ctx);
    point(ctx, msg_incore, lv_inner);
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
    notetime(ctx);
    if (orderblocks(ctx) != 0)
        return -1;
    point(ctx, msg_orderblocks, lv_inner, ctx->wbcount);
    notetime(ctx);
    if (setupmerge(ctx) == 0)
        return 0;
    return ctx->cancelled == 1 ? -1 : faillogic(ctx);
}

} // namespace

int runphases(qha5ctx *ctx) {
    ctx->ordering = true;
    if (!countsagree(ctx))
        return faillogic(ctx);
    notecounts(ctx);
    return ctx->external ? sortexternal(ctx) : sortincore(ctx);
}

} // namespace kvern
