// String creation by replacement selection, from the first record that finds all
// slots used to the last string.
#pragma once

#include "session/context.h"

namespace kvern {

// All slots are used and a record waits: creates the first temporary file, the index
// and the tree, and replaces `intake`.  0, or -1 reported.
[[nodiscard]] int goexternal(qha5ctx *ctx);

// End of input: the string in progress and the records in memory become two strings,
// all data WBs are on disk and in the index.  0, or -1.
[[nodiscard]] int endstrings(qha5ctx *ctx);

} // namespace kvern
