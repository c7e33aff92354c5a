// The record by record part of a copy: out of the input block, through selection
// and reconstruction, into the output block.
#pragma once

#include "session/context.h"

namespace kvern {

// Result of a step; negative: failed, the message is out.
enum copyresult : int32_t {
    cr_outfull = 0, // the output block is full, the input block is not used up
    cr_inused = 1,  // the input block is used up, the output block has room
    cr_both = 2,
};

// The routine for the session's record form, selection and reconstruction.  It goes
// on where the blocks' `next` and `count` stand and keeps them, and the limit of the
// output block, true.  The output block has room for a record when it is called.
using steproutine = int32_t (*)(qha5ctx *ctx, blockhdr *in, blockhdr *out);
[[nodiscard]] steproutine choosestep(const qha5ctx *ctx);

} // namespace kvern
