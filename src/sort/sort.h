// The sort as the session sees it: blocks of records go in, and come out in order.
//
// Here: division of the working storage, the pool of slots filled, the phases behind
// the last record, grouping in core.  Left to others: everything once records have left
// memory (sort/external), the making of internal records and of finished ones
// (sort/convert), the comparing (sort/incore).
//
//   buildblocks     the first input block
//   feedblock       for each filled one
//   endinput        sorts; the first output block
//   drawblock       until the block is empty
//
// `intake` and `deliver` are what feedblock and drawblock run: they change once, when
// the first record finds no slot.
#pragma once

#include "session/context.h"

namespace kvern {

// Builds the blocks and runs the pipeline set-up; the first input block, or null
// with the message out.
[[nodiscard]] blockhdr *buildblocks(qha5ctx *ctx);
// A filled input block goes in, a free one comes back; null: failed.
[[nodiscard]] blockhdr *feedblock(qha5ctx *ctx, blockhdr *block);
// The next output block; count 0 ends the output; null: failed.
[[nodiscard]] blockhdr *drawblock(qha5ctx *ctx, blockhdr *block);
// Input is exhausted: sorts, and gives the first output block; null: failed.
[[nodiscard]] blockhdr *endinput(qha5ctx *ctx, blockhdr *block);

} // namespace kvern
