// Storage of the final merge, from sortnext on:
//
//   | sumbuf, holdrec |  entries  | nodes of 2 WBs | tree | block | block | ...
//    grouping only      idxperwb+5   2 * recperwb    width  width - 1 blocks
//
// A block is header, data and nodes, side by side.  The three WBs of the earlier
// phases stay where they are: two join the merge blocks, the third becomes sparewb.
// So width + 1 blocks circulate: width in the merge and one that is read ahead.
//
// The width is the number of strings where that many blocks fit; more could never
// overlap, and then no record is ever spilled or moved.  Else it is what really fits:
// each block more spares spills.
#include "sort/external/external.h"
#include "sort/external/finalmerge.h"

#include "merge/sum/equalkeys.h"
#include "session/qha9msg.h"
#include "session/workspace.h"
#include "sort/convert/emit.h"
#include "sort/external/indexlist.h"
#include "sort/external/mergeblocks.h"
#include "sort/external/tempfile.h"
#include "sort/external/wbio.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace kvern {

namespace {

int wireoutput(qha5ctx *ctx, workspace &space) {
    ctx->outdone = false;
    ctx->lastpending = 0;
    ctx->mergeresume = false;
    ctx->deliver = choosemerge(ctx);
    wireemit(ctx);
    if (!isfolding(ctx)) {
        ctx->emit = ctx->plainemit;
        ctx->emitcounts = 1;
        return 0;
    }
    ctx->emit = emitgrouped;
    ctx->emitcounts = 0;
    ctx->holdvalid = false;
    if (layoutsums(ctx, space) != 0)
        return -1;
    ctx->holdrec = space.take(ctx->intreclen);
    return ctx->holdrec != nullptr ? 0 : -1;
}

// Entries of the list.  An expansion brings idxperwb of them; beyond that it holds the
// entries of spilled WBs.  Of every string about half a WB is neither in memory nor
// on its own place, so where the width is far below the number of strings, that many
// spilled WBs are to be expected, and a list that cannot hold their entries would be
// written out and read again for every few WBs.
uint32_t listlength(const qha5ctx *ctx, const workspace &space) {
    constexpr uint64_t share = 16; // of the storage, at most, for them: measured
    const uint64_t need = mergeneed(ctx->idxentlen, ctx->idxperwb, ctx->wbsize, ctx->recperwb);
    const uint64_t room =
        space.left > need ? std::min(space.left / share, space.left - need) / ctx->idxentlen : 0;
    const uint64_t spilled = std::min<uint64_t>(ctx->stringcount, room);
    return static_cast<uint32_t>(ctx->idxperwb + sparelist + spilled);
}

// The root's entries as the list, by rising keys, with the sentinel behind them.
void listroot(qha5ctx *ctx, const blockhdr *root) {
    idxentry *entry = ctx->idxlist = ctx->idxfree; // in address order
    for (uint32_t at = 0; at < root->count; ++at, entry = entry->link)
        copyentry(ctx, entry, root->first + size_t{at} * ctx->idxentlen);
    ctx->idxsentinel = entry;
    ctx->idxfree = entry->link;
    ctx->idxcount = root->count + 1;
    memset(static_cast<void *>(entry), 0xFF, ctx->idxentlen);
    entry->kind = ek_end;
    entry->link = entry;
    assert(listholds(ctx));
}

// Reads the root of the ordered index into the list.
int loadroot(qha5ctx *ctx, workspace &space) {
    const uint32_t entries = listlength(ctx, space);
    uint8_t *area = space.take(uint64_t{entries} * ctx->idxentlen);
    if (area == nullptr)
        return -1;
    layentries(ctx, area, entries);
    if (!allidle(ctx)) {
        // A number without a text: intended.
        report(ctx, KVRN_D_LOGIC, static_cast<msgno>(KVRN_D_LOGIC), lv_least);
        return -1;
    }
    blockhdr *wb = freewb(ctx);
    if (wb == nullptr)
        return -1;
    loadplace(wb, ctx->idxrootfile, ctx->idxrootpos, ctx->idxrootcount);
    if (wb->count == 0 || wb->count > ctx->idxperwb)
        return -1;
    if (readwbsync(ctx, wb) != 0)
        return -1;

    listroot(ctx, wb);
    returnwb(ctx, wb);
    return 0;
}

int choosewidth(qha5ctx *ctx, workspace &space, uint8_t **wbnodes) {
    *wbnodes = space.take(2 * nodebytes(ctx->recperwb));
    if (*wbnodes == nullptr)
        return -1;
    // A block less than the width is made, for the WBs bring two, one of them to read ahead.
    const uint64_t block = mergebytes(ctx->wbsize, ctx->recperwb);
    const uint64_t fitting = (space.left + block) / (block + sizeof(blockhdr *));
    ctx->mergewidth = static_cast<uint32_t>(std::clamp<uint64_t>(fitting, 1, ctx->stringcount));
    ctx->mergetree =
        reinterpret_cast<blockhdr **>(space.take(ctx->mergewidth * sizeof(blockhdr *)));
    return ctx->mergetree != nullptr ? 0 : -1;
}

blockhdr *makeblock(const qha5ctx *ctx, uint8_t *area) {
    auto *block = reinterpret_cast<blockhdr *>(area);
    *block = blockhdr{};
    block->first = area + sizeof(blockhdr);
    block->end = block->first + ctx->wbsize;
    block->nodes = reinterpret_cast<recnode *>(block->first + arenaround(ctx->wbsize));
    block->state = bs_free;
    return block;
}

// A chain of all blocks, the one to be read first in front; sparewb stands apart.
blockhdr *makeblocks(qha5ctx *ctx, const workspace &space, uint8_t *wbnodes) {
    blockhdr *chain = nullptr;
    const uint64_t bytes = mergebytes(ctx->wbsize, ctx->recperwb);
    assert(bytes * (ctx->mergewidth - 1) <= space.left);
    for (uint32_t at = 1; at < ctx->mergewidth; ++at) {
        blockhdr *block = makeblock(ctx, space.next + bytes * (at - 1));
        block->link = chain;
        chain = block;
    }
    blockhdr *wb[workblocks] = {};
    for (blockhdr *&one : wb) {
        one = ctx->freewbs;
        if (one == nullptr)
            return nullptr;
        ctx->freewbs = one->link;
    }
    for (uint32_t at = 0; at < 2; ++at) {
        wb[at]->nodes = reinterpret_cast<recnode *>(wbnodes + at * nodebytes(ctx->recperwb));
        wb[at]->link = chain;
        chain = wb[at];
    }
    ctx->sparewb = wb[2];
    ctx->sparewb->nodes = nullptr;
    return chain;
}

// Fills the merge blocks, one read ahead.
int fillblocks(qha5ctx *ctx, blockhdr *chain) {
    ctx->mergeblocks = nullptr;
    ctx->mergedone = 0;
    blockhdr *buffer = chain->link;
    if (ctx->idxlist->kind != ek_data || startread(ctx, ctx->idxlist, chain) != 0)
        return -1;
    for (uint32_t at = 0; at < ctx->mergewidth; ++at) {
        blockhdr *following = buffer->link; // a read leaves its own mark in link
        blockhdr *wb = nullptr;
        if (nextwb(ctx, buffer, &wb) != 0 || wb == nullptr)
            return -1;
        pushblock(ctx, wb);
        wb->file->state = fs_left;
        listrecords(ctx, wb);
        buffer = following;
    }
    return 0;
}

} // namespace

int setupmerge(qha5ctx *ctx) {
    workspace space{ctx->sortnext, ctx->sortfree};
    uint8_t *wbnodes = nullptr;
    if (wireoutput(ctx, space) != 0 || loadroot(ctx, space) != 0 ||
        choosewidth(ctx, space, &wbnodes) != 0)
        return -1;
    blockhdr *chain = makeblocks(ctx, space, wbnodes);
    return chain == nullptr ? -1 : fillblocks(ctx, chain);
}

} // namespace kvern
