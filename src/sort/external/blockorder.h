// Phase-3(index): puts the index entries of all data WBs in the order of their keys.
#pragma once

#include "session/context.h"

namespace kvern {

// Works in sortnext, sortfree and leaves the root of the ordered index in idxrootfile,
// idxrootpos and idxrootcount.  0, or -1.
[[nodiscard]] int orderblocks(qha5ctx *ctx);

} // namespace kvern
