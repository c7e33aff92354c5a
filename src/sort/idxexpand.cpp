// Expansion of an x entry in the rising list of the final merge.  The first entry of
// the group takes the place of the x entry, the others are merged in behind it; spilled
// WBs may stand between them:
//
//   before  | 30 | x40 | 52 spilled | 90 | sentinel        on disk: 40 50 60
//   after   | 30 | 40 | 50 | 52 spilled | 60 | 90 | sentinel
//
// If entries run short, the highest idxperwb of the list go out by way of sparewb, to
// the place that the group was just read from.  The list then holds at least four
// entries in front of them, so neither the head nor the x entry is among them.
#include "sort/idxexpand.h"

#include "session/qha9msg.h"
#include "sort/indexlist.h"
#include "sort/mergeblocks.h"
#include "sort/wbio.h"

#include <cassert>

namespace kvern {

namespace {

int evicthighest(qha5ctx *ctx, const blockhdr *buffer, entrysource *source, idxentry **at) {
    ++ctx->idxspills[2];
    if (awaitspare(ctx) != 0)
        return -1;
    blockhdr *spare = ctx->sparewb;
    entrychain rest{};
    if (!evictgroup(ctx, buffer, spare->first, source, &at, &rest))
        return faillogic(ctx);
    (void)mergechain<listorder::rising_back>(ctx, at, rest.first);
    loadplace(spare, buffer->file, buffer->filepos, ctx->idxperwb);
    return writewb(ctx, spare);
}

} // namespace

int expandgroup(qha5ctx *ctx, idxentry *group, blockhdr *buffer) {
    loadplace(buffer, group->tempfile, group->filepos, group->count);
    if (readwbsync(ctx, buffer) != 0)
        return -1;
    if (buffer->count == 0 || buffer->count > ctx->idxperwb)
        return faillogic(ctx);
    copyentry(ctx, group, buffer->first);
    entrysource source{buffer->first + ctx->idxentlen, buffer->count - 1};
    idxentry **at =
        mergechain<listorder::rising_back>(ctx, &group->link, takechain(ctx, &source).first);
    if (source.left != 0 && evicthighest(ctx, buffer, &source, at) != 0)
        return -1;
    assert(listholds(ctx));
    buffer->state = bs_free;
    return 0;
}

} // namespace kvern
