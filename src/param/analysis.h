// Parameter analysis: what the caller's blocks ask for, checked in a fixed
// order, the first fault reported; what is kept is copied to the arena.
#pragma once

#include "session/context.h"

namespace kvern {

// Options, files and field tables, ending in the wired key table.  keys, files
// and opts may be null.  0, or -1 with the message out (an unknown input file
// kind is -1 without one).
[[nodiscard]] int analyse(qha5ctx *ctx, KVRNPRIM *prim, const KVRNKEY *keys, const KVRNFILE *files,
                          const KVRNOPT *opts);

} // namespace kvern
