// Freeing a merge block.  A WB is due, since its lowest record goes before all that
// are in memory, and every merge block still holds records.
//
// If the other blocks cannot hold all of them, the recperwb highest records of all
// blocks are spilled: a tree over the blocks by their highest records gives them one
// by one, highest first, and they fill sparewb from its end.  It becomes a WB like any
// other, on the place of the WB taken last, with its entry in the index:
//
//   width 3, recperwb 4    A 11 52 80    B 20 31 60 90    C 40 70     9 > 2 * 4
//   spilled                60 70 80 90   in memory        11 20 31 40 52
//
// Then the block with the fewest records is emptied: its records, ascending, are
// merged into the free places of the first blocks that have any, in one walk for each
// receiving block:
//
//   C 40 into A 11 52      A 11 40 52    B 20 31    C empty, to the head of the chain
//
// Invariants: before, no block is empty, after, exactly one of them is; the spilled
// key lies above the head of the index, for that head goes before all in memory, so
// the entry never becomes the head; places on disk are written over only when their WB
// was read (the entry at the head of idxfree).
#include "sort/external/finalmerge.h"

#include "session/qha9msg.h"
#include "sort/external/indexlist.h"
#include "sort/external/mergeblocks.h"
#include "sort/external/wbio.h"
#include "sort/incore/keycompare.h"
#include "sort/incore/losertree.h"

#include <cassert>
#include <cstring>

namespace kvern {

namespace {

struct highestfirst {
    uint32_t keylen;
    bool before(const blockhdr &a, const blockhdr &b) const {
        return keybelow(toprecord(b), toprecord(a), keylen);
    }
    static uint32_t &leafof(blockhdr &block) { return block.treenode; }
};

uint64_t recordsleft(const qha5ctx *ctx) {
    uint64_t records = 0;
    for (const blockhdr *block = ctx->mergeblocks; block != nullptr; block = block->link)
        records += block->count;
    return records;
}

blockhdr *leastblock(const qha5ctx *ctx) {
    blockhdr *least = ctx->mergeblocks;
    for (blockhdr *block = least->link; block != nullptr; block = block->link)
        if (block->count < least->count)
            least = block;
    return least;
}

// Moves the `count` highest records of all blocks to sparewb.
void collecttop(const qha5ctx *ctx, uint32_t count) {
    losertree<blockhdr, highestfirst> tree(ctx->mergetree, {ctx->keylen});
    tree.build(ctx->mergeblocks, ctx->mergewidth);
    uint8_t *place = ctx->sparewb->first + size_t{count} * ctx->intreclen;
    for (uint32_t left = count; left != 0; --left) {
        blockhdr *block = tree.champion();
        place -= ctx->intreclen;
        memcpy(place, toprecord(*block), ctx->intreclen);
        droptail(block);
        if (block->count != 0)
            tree.replay(block->treenode, block);
        else if (!tree.withdraw())
            assert(left == 1);
    }
    ctx->sparewb->count = count;
}

// Enters the WB in the index behind the entries that are not above it.  Its key lies
// near the head, where the merge is, so the walk is short.
void enterspill(qha5ctx *ctx) {
    idxentry *entry = takeentry(ctx);
    const blockhdr *wb = ctx->sparewb;
    entry->kind = ek_data;
    entry->mark = em_unread;
    entry->tempfile = wb->file;
    entry->filepos = wb->filepos;
    entry->count = wb->count;
    memcpy(entry->key(), wb->first, ctx->keylen);
    (void)mergechain<listorder::rising_back>(ctx, &ctx->idxlist->link, entry);
}

int spilltop(qha5ctx *ctx, uint64_t inmemory) {
    const idxentry *consumed = ctx->idxfree;
    if (consumed == nullptr || consumed->tempfile == nullptr)
        return faillogic(ctx);
    const uint32_t count =
        inmemory < ctx->recperwb ? static_cast<uint32_t>(inmemory) : ctx->recperwb;
    collecttop(ctx, count);
    loadplace(ctx->sparewb, consumed->tempfile, consumed->filepos, count);
    enterspill(ctx);
    ++ctx->spillcount;
    return overwritewb(ctx, ctx->sparewb);
}

// Puts node `fresh` of the block in front of node `at`, behind all if that is none.
void linknode(blockhdr *block, uint32_t fresh, uint32_t at) {
    recnode *nodes = block->nodes;
    const uint32_t before = at == nonode ? block->tailnode : nodes[at].prev;
    nodes[fresh].next = at;
    nodes[fresh].prev = before;
    if (at == nonode) {
        block->tailnode = fresh;
        block->limit = recordat(*block, fresh);
    } else {
        nodes[at].prev = fresh;
    }
    if (at == block->headnode) {
        block->headnode = fresh;
        block->next = recordat(*block, fresh);
    } else {
        nodes[before].next = fresh;
    }
    ++block->count;
}

// Merges records from the low end of `from` into the free places of `to`, until either
// is used up.
void mergerecords(const qha5ctx *ctx, blockhdr *from, blockhdr *to) {
    const uint32_t keylen = ctx->keylen;
    uint32_t at = to->headnode;
    while (from->count != 0 && to->freenode != nonode) {
        const uint8_t *record = lowestrecord(*from);
        while (at != nonode && keybelow(recordat(*to, at), record, keylen))
            at = to->nodes[at].next;
        const uint32_t node = to->freenode;
        to->freenode = to->nodes[node].next;
        memcpy(recordat(*to, node), record, ctx->intreclen);
        drophead(from);
        linknode(to, node, at);
    }
}

} // namespace

int freeblock(qha5ctx *ctx) {
    const uint64_t inmemory = recordsleft(ctx);
    if (inmemory > uint64_t{ctx->mergewidth - 1} * ctx->recperwb)
        if (spilltop(ctx, inmemory) != 0)
            return -1;
    blockhdr *least = leastblock(ctx);
    unlinkblock(ctx, least);
    for (blockhdr *to = ctx->mergeblocks; least->count != 0; to = to->link) {
        if (to == nullptr)
            return faillogic(ctx);
        mergerecords(ctx, least, to);
    }
    pushblock(ctx, least);
    return 0;
}

} // namespace kvern
