// The drivers with input files.  One runs by itself to the end; the other gives the
// caller a record each call, out of an output block that is filled anew when it is
// used up.
#include "merge/merge.h"
#include "merge/routines.h"

#include "merge/mergeflow.h"
#include "session/counts.h"

namespace kvern {
namespace {

// Steps until an output block is ready; it may be the empty one of the end.
int32_t fillfromfiles(qha5ctx *ctx) {
    do
        if (stepfiles(ctx) < 0)
            return -1;
    while (ctx->mergectl->outblock == nullptr);
    return 0;
}

int32_t runfiles(qha5ctx *ctx) {
    for (;;) {
        if (fillfromfiles(ctx) < 0)
            return breakmerge(ctx);
        if (atend(ctx))
            return endmerge(ctx);
        if (writeoutblock(ctx) < 0)
            return breakmerge(ctx);
    }
}

template <class form>
int32_t showone(const qha5ctx *ctx) {
    blockhdr *block = ctx->mergectl->outblock;
    --block->count;
    showrecord<form>(ctx, block);
    return merge_open;
}

// Counts go by blocks, so getcount runs ahead of the records given: intended.
template <class form>
int32_t deliverfiles(qha5ctx *ctx) {
    blockhdr *block = ctx->mergectl->outblock;
    if (block != nullptr && block->count != 0)
        return showone<form>(ctx);
    shownothing(ctx->userblk);
    if (fillfromfiles(ctx) < 0)
        return breakmerge(ctx);
    if (atend(ctx))
        return endmerge(ctx);
    block = ctx->mergectl->outblock;
    block->next = block->first;
    ctx->userblk->getcount += block->count;
    countout(ctx, block->count);
    return showone<form>(ctx);
}

using driver = decltype(merge_fields::mergefn);
constexpr driver delivers[recordforms] = {deliverfiles<fixedrecord>, deliverfiles<variablerecord>,
                                          deliverfiles<textrecord>, deliverfiles<textrecord>};

driver choose(const qha5ctx *ctx) {
    if (ctx->apiinput)
        return choosefeeder(ctx);
    return ctx->apioutput ? delivers[formof(ctx)] : runfiles;
}

} // namespace

void wiredriver(qha5ctx *ctx) {
    ctx->mergefn = choose(ctx);
}

} // namespace kvern
