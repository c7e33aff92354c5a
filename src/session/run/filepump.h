// The loops that carry whole files through a sort, block by block.
#pragma once

#include "session/context.h"

namespace kvern {

// Reads all input files, beginning with putblock, and ends the input; getblock is
// the first block of the output then.  0 or -1.
[[nodiscard]] int readinputs(qha5ctx *ctx);

// Draws the output, beginning with getblock, into the output file.  0 or -1.
[[nodiscard]] int writeoutput(qha5ctx *ctx);

} // namespace kvern
