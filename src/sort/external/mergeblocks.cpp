// Merge blocks and the list of WBs to come.
//
// A merge block is a WB with a node for each record place.  The list of its nodes,
// not their address, is the order of its records; a node and its place never part:
//
//   data    | 20 | -- | 70 | 35 | -- |        headnode -> n0 -> n3 -> n2 <- tailnode
//   nodes     n0   n1   n2   n3   n4          freenode -> n1 -> n4
//
// Reading runs one WB ahead.  The head of idxlist is the WB that comes due next; its
// read was issued already, and the entry names the block that receives it:
//
//   idxlist -> | 40, mark r, receiver B | -> | 45 | -> | x50 | -> sentinel
//
// Taking it issues the read of 45 and leaves the entry of 40 at the head of idxfree,
// with the place on disk that it named: the next spill writes there.
//
// Invariants: the head is the sentinel or has mark r, no other entry has; count is
// the length of the node list and never above recperwb; records of a list ascend.
#include "sort/external/mergeblocks.h"

#include "session/qha9msg.h"
#include "sort/external/indexlist.h"
#include "sort/external/wbio.h"
#include "sort/incore/keycompare.h"

#include <cassert>

namespace kvern {

void listrecords(const qha5ctx *ctx, blockhdr *block) {
    assert(block->count != 0 && block->count <= ctx->recperwb);
    recnode *nodes = block->nodes;
    const uint32_t places = ctx->recperwb;
    for (uint32_t at = 0; at < places; ++at)
        nodes[at] = {at + 1, at - 1, at * ctx->intreclen};
    nodes[places - 1].next = nonode;
    block->headnode = 0;
    block->tailnode = block->count - 1;
    block->freenode = nodes[block->tailnode].next;
    nodes[block->tailnode].next = nonode;
    block->next = block->first;
    block->limit = recordat(*block, block->tailnode);
}

void pushblock(qha5ctx *ctx, blockhdr *block) {
    block->prev = nullptr;
    block->link = ctx->mergeblocks;
    if (block->link != nullptr)
        block->link->prev = block;
    ctx->mergeblocks = block;
}

void unlinkblock(qha5ctx *ctx, blockhdr *block) {
    (block->prev == nullptr ? ctx->mergeblocks : block->prev->link) = block->link;
    if (block->link != nullptr)
        block->link->prev = block->prev;
}

void putinplace(qha5ctx *ctx, const blockplace &place, blockhdr *fresh) {
    fresh->link = place.link;
    fresh->prev = place.prev;
    fresh->treenode = place.treenode;
    (fresh->prev == nullptr ? ctx->mergeblocks : fresh->prev->link) = fresh;
    if (fresh->link != nullptr)
        fresh->link->prev = fresh;
}

int startread(qha5ctx *ctx, idxentry *entry, blockhdr *block) {
    loadplace(block, entry->tempfile, entry->filepos, entry->count);
    entry->mark = em_reading;
    entry->receiver = block;
    return readwb(ctx, block);
}

namespace {

// The WB of the entry is in the block.
int awaitread(qha5ctx *ctx, const idxentry *due, blockhdr *block) {
    if (takedone(ctx, block) == nullptr || block->iostat != io_done)
        return -1;
    block->state = bs_merging;
    return keycompare(block->first, due->key(), ctx->keylen) != 0 ? faillogic(ctx) : 0;
}

// The entry, no group then, has its read issued, if a WB is left.
int readfollowing(qha5ctx *ctx, idxentry *following, blockhdr *buffer) {
    while (following->kind == ek_index)
        if (expandgroup(ctx, following, buffer) != 0)
            return -1;
    if (following->kind == ek_end || following->mark == em_reading)
        return 0;
    return startread(ctx, following, buffer);
}

} // namespace

int nextwb(qha5ctx *ctx, blockhdr *buffer, blockhdr **wb) {
    idxentry *due = ctx->idxlist;
    *wb = nullptr;
    if (due->kind == ek_end)
        return 0;
    blockhdr *block = due->mark == em_reading ? due->receiver : nullptr;
    if (block == nullptr)
        return faillogic(ctx);
    if (awaitread(ctx, due, block) != 0 || readfollowing(ctx, due->link, buffer) != 0)
        return -1;

    // Only now, behind what the expansion took, the place just read becomes the one
    // that a spill may write over.
    idxentry *following = due->link;
    due->mark = em_unread;
    due->tempfile = block->file;
    due->link = ctx->idxfree;
    ctx->idxfree = due;
    ctx->idxlist = following;
    --ctx->idxcount;
    block->nextkey = following->key();
    ++ctx->blocksread;
    *wb = block;
    return 0;
}

} // namespace kvern
