// The sort once records have left memory: what the floor above calls, in its order.
//
// Here: strings by replacement selection (stringmaker), work blocks and temporary files
// (wbio, tempfile), the index of first keys (blockindex, indexlist) and its ordering
// (blockorder), the one pass of the final merge (mergesetup, finalmerge, mergeblocks,
// idxexpand, spill, groupemit).  Left to others: internal records come from `encode` and
// leave by `emit`, both of sort/convert.  Nothing here knows a record form.
#pragma once

#include "session/context.h"

namespace kvern {

// Finds the numbers that follow from the pool of slots and the work blocks (frozenlimit,
// recperwb, idxperwb) and tests that later phases can live in sortfree.  0, or -1 with
// message 23.
[[nodiscard]] int reservespill(qha5ctx *ctx);

// All slots are used and a record waits: creates the first temporary file, the index
// and the tree, and replaces `intake`.  0, or -1 reported.
[[nodiscard]] int goexternal(qha5ctx *ctx);

// End of input: the string in progress and the records in memory become two strings,
// all data WBs are on disk and in the index.  0, or -1.
[[nodiscard]] int endstrings(qha5ctx *ctx);

// Works in sortnext, sortfree and leaves the root of the ordered index in idxrootfile,
// idxrootpos and idxrootcount.  0, or -1.
[[nodiscard]] int orderblocks(qha5ctx *ctx);

// The final merge: divides sortnext, sortfree into the index list and the merge blocks,
// and starts reading.  0; -1 failed, not always with a report.
[[nodiscard]] int setupmerge(qha5ctx *ctx);

} // namespace kvern
