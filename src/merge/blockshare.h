// Pieces of the set-up that a merge and a copy share.
#pragma once

#include "session/workspace.h"

namespace kvern {

// Size of one of `blocks` equal blocks, header included, that `left` bytes are shared
// out in, a multiple of a pointer's alignment; for text also sets textreadlen.  A
// share that no record fits in is for the caller to find out.
[[nodiscard]] uint32_t shareblocks(qha5ctx *ctx, uint32_t left, uint32_t blocks);

// An empty block at `at` with `usable` bytes of data behind its header.
blockhdr *layblock(uint8_t *at, uint32_t usable);

// carrytab: a partial line for each of `inputs`.  0, or -1 with message 23.
[[nodiscard]] int layoutcarry(qha5ctx *ctx, workspace &space, uint32_t inputs, uint32_t detail);

} // namespace kvern
