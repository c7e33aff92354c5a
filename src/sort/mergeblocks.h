// The blocks of the final merge, their record nodes, and the WBs that come due.
#pragma once

#include "session/context.h"

namespace kvern {

struct idxentry;

inline uint8_t *lowestrecord(const blockhdr &block) {
    return block.headnode->record;
}
inline uint8_t *highestrecord(const blockhdr &block) {
    return block.tailnode->record;
}

// The block's `count` records in their order of storage.
void listrecords(qha5ctx *ctx, blockhdr *block);

// The head or tail node goes to the free nodes; the list keeps its order.
inline void drophead(blockhdr *block) {
    recnode *node = block->headnode;
    block->headnode = node->next;
    node->next = block->freenode;
    block->freenode = node;
    --block->count;
}
inline void droptail(blockhdr *block) {
    recnode *node = block->tailnode;
    block->tailnode = node->prev;
    if (--block->count != 0)
        block->tailnode->next = nullptr;
    node->next = block->freenode;
    block->freenode = node;
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

// Waits for the last write of sparewb, if there was one.
[[nodiscard]] int awaitspare(qha5ctx *ctx);

} // namespace kvern
