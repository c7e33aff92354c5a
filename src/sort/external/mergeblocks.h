// The blocks of the final merge, their record nodes, and the WBs that come due.
#pragma once

#include "session/context.h"

namespace kvern {

struct idxentry;

inline uint8_t *recordat(const blockhdr &block, uint32_t node) {
    return block.first + block.nodes[node].record;
}
// `next` and `limit` are kept at the lowest and the highest record, which every
// comparison of the merge and of a spill asks for.
inline uint8_t *lowestrecord(const blockhdr &block) {
    return block.next;
}
inline uint8_t *toprecord(const blockhdr &block) {
    return block.limit;
}

// The block's `count` records in their order of storage.
void listrecords(const qha5ctx *ctx, blockhdr *block);

// The head or tail node goes to the free nodes; the list keeps its order.  The record
// behind the new end is fetched early: lists that records were moved to run to and fro.
inline void drophead(blockhdr *block) {
    recnode *nodes = block->nodes;
    const uint32_t node = block->headnode;
    const uint32_t head = nodes[node].next;
    nodes[node].next = block->freenode;
    block->freenode = node;
    block->headnode = head;
    if (--block->count == 0)
        return;
    block->next = recordat(*block, head);
    if (block->count != 1)
        __builtin_prefetch(recordat(*block, nodes[head].next));
}
inline void droptail(blockhdr *block) {
    recnode *nodes = block->nodes;
    const uint32_t node = block->tailnode;
    const uint32_t tail = nodes[node].prev;
    nodes[node].next = block->freenode;
    block->freenode = node;
    block->tailnode = tail;
    if (--block->count == 0)
        return;
    nodes[tail].next = nonode;
    block->limit = recordat(*block, tail);
    if (block->count != 1)
        __builtin_prefetch(recordat(*block, nodes[tail].prev));
}

// The chain mergeblocks.
void pushblock(qha5ctx *ctx, blockhdr *block);
void unlinkblock(qha5ctx *ctx, blockhdr *block);

// Where a block stands in the chain and in the tree.  Must be asked before the block
// is given to nextwb: a block that is read hangs in ioqueue by the same link.
struct blockplace {
    blockhdr *link;
    blockhdr *prev;
    uint32_t treenode;
};
inline blockplace placeof(const blockhdr *block) {
    return {block->link, block->prev, block->treenode};
}
void putinplace(qha5ctx *ctx, const blockplace &place, blockhdr *fresh);

// Issues the read of the entry's WB into the block.
[[nodiscard]] int startread(qha5ctx *ctx, idxentry *entry, blockhdr *block);
// Takes the WB that is due, whose read was issued before, out of the index and issues
// the read of the one behind it into `buffer`.  *wb is null when the index is used up.
[[nodiscard]] int nextwb(qha5ctx *ctx, blockhdr *buffer, blockhdr **wb);

} // namespace kvern
