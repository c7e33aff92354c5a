// Blocks of records: how long they are, how much of one input and output use by record
// form, and what goes with them.  A set-up asks for the lengths first, then lays blocks.
//
//   fixed      whole records of each length, so that none straddles two blocks
//   variable   any number of records; the longest fits with its length word
//   text       a line left over from the last read, and room to read another
#pragma once

#include "session/workspace.h"

namespace kvern {

// Bytes of a data area that each side uses; both 0 where no record of a side fits.
struct blockuse {
    uint64_t in, out;
};
[[nodiscard]] blockuse useof(const qha5ctx *ctx, uint64_t room);
// inblklen and outblklen.
void setlengths(qha5ctx *ctx, const blockuse &use);

// One block for both sides, as a sort has it.
struct blocklengths {
    uint64_t block; // header and data area; 0: no block holds a record
    blockuse use;
    uint64_t textreadlen; // text: bytes of one read, so that a kept partial line fits in front
};
// The lengths for a block of about `wanted` bytes.
[[nodiscard]] blocklengths lengthsfor(const qha5ctx *ctx, uint64_t wanted);

// Size of one of `blocks` equal blocks, header included, that `left` bytes are shared
// out in, a multiple of the arena's unit; for text also sets textreadlen.  A share
// that no record fits in is for the caller to find out.
[[nodiscard]] uint32_t shareblocks(qha5ctx *ctx, uint32_t left, uint32_t blocks);

// An empty block at `at` with `usable` bytes of data behind its header.
blockhdr *layblock(uint8_t *at, uint32_t usable);

// Text: carrytab, a partial line for each of `inputs`.  False, without a message: no room.
[[nodiscard]] bool layoutcarry(qha5ctx *ctx, workspace &space, uint32_t inputs);

} // namespace kvern
