// Set-up of the final merge.
#pragma once

#include "sort/external/diskimage.h"
#include "sort/sort_fields.h"

namespace kvern {

// Divides sortnext, sortfree into the index list and the merge blocks, and starts
// reading.  0; -1 failed, not always with a report.
[[nodiscard]] int setupmerge(qha5ctx *ctx);

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
