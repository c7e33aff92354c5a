// The index of first keys as it grows during string creation, and the end of that.
#pragma once

#include "session/context.h"

namespace kvern {

// First use: opens the chain of index WBs.  0, or -1 reported.
[[nodiscard]] int openindex(qha5ctx *ctx);
// Enters a written data WB.
[[nodiscard]] int addentry(qha5ctx *ctx, const blockhdr *wb);
// A free block, for data; enters a written data WB in the index.
[[nodiscard]] blockhdr *nextoutwb(qha5ctx *ctx);
// End of string creation: all writes done and entered, the last index WB on disk,
// the root known.
[[nodiscard]] int drain(qha5ctx *ctx);

} // namespace kvern
