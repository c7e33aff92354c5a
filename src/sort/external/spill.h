// Making room in the final merge for a WB that comes due.
#pragma once

#include "session/context.h"

namespace kvern {

// Empties one merge block and puts it at the head of mergeblocks; the highest records
// go back to disk if the other blocks cannot hold all.  The merge tree is void after
// this.  0, or -1.
[[nodiscard]] int freeblock(qha5ctx *ctx);

} // namespace kvern
