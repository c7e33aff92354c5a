// The sort as the session sees it: division of the working storage, and the three
// operations through which blocks go in and come out.
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
