// Blocks and what goes with them, as every function's set-up lays them out.
#pragma once

#include "session/workspace.h"

namespace kvern {

// Size of one of `blocks` equal blocks, header included, that `left` bytes are shared
// out in, a multiple of a pointer's alignment; for text also sets textreadlen.  A
// share that no record fits in is for the caller to find out.
[[nodiscard]] uint32_t shareblocks(qha5ctx *ctx, uint32_t left, uint32_t blocks);

// An empty block at `at` with `usable` bytes of data behind its header.
blockhdr *layblock(uint8_t *at, uint32_t usable);

// carrytab: a partial line for each of `inputs`.  False, without a message: no room.
[[nodiscard]] bool layoutcarry(qha5ctx *ctx, workspace &space, uint32_t inputs);

// Usable bytes of the blocks of both sides.
void setlengths(qha5ctx *ctx, uint64_t in, uint64_t out);

} // namespace kvern
