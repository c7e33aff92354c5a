// What the parts of the final merge ask of each other, and the storage they need.
#pragma once

#include "session/context.h"
#include "sort/external/diskimage.h"

namespace kvern {

// The routine for the session's key width: fills one output block; count 0 and the
// temporary files gone when the output is finished.
[[nodiscard]] blockroutine choosemerge(const qha5ctx *ctx);

// The same for any width.
blockhdr *delivermerged(qha5ctx *ctx, blockhdr *block);

// The `emit` of an external sort with recfunc 1 or 2.  Counts the records it places.
int32_t emitgrouped(qha5ctx *ctx, blockhdr *block, const uint8_t *record);

// Empties one merge block and puts it at the head of mergeblocks; the highest records
// go back to disk if the other blocks cannot hold all.  The merge tree is void after
// this.  0, or -1.
[[nodiscard]] int freeblock(qha5ctx *ctx);

constexpr uint32_t sparelist = 5; // entries of the index list beside one full WB

// Storage of a merge block with its nodes, and of the nodes of one WB.
constexpr uint64_t nodebytes(uint32_t recperwb) {
    return arenaround(uint64_t{recperwb} * sizeof(recnode));
}
constexpr uint64_t mergebytes(uint32_t wbsize, uint32_t recperwb) {
    return sizeof(blockhdr) + arenaround(wbsize) + nodebytes(recperwb);
}

// The least storage with which two blocks can merge: the index list, one block more
// than the WBs give, the nodes of the two WBs that serve as merge blocks, a tree of
// two.  Without room for grouping.
constexpr uint64_t mergeneed(uint32_t idxentlen, uint32_t idxperwb, uint32_t wbsize,
                             uint32_t recperwb) {
    return (uint64_t{idxperwb} + sparelist) * idxentlen + mergebytes(wbsize, recperwb) +
           2 * nodebytes(recperwb) + 2 * sizeof(blockhdr *);
}

} // namespace kvern
