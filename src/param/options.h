// The bytes of KVRNPRIM: each tested, in a fixed order, and stored.
#pragma once

#include "session/context.h"

namespace kvern {

// ctx->level is set.  Writes back fileoprat (level 0) and recoprat (225).  0, or
// -1 with message 14 and the name of the first faulty field.
[[nodiscard]] int readoptions(qha5ctx *ctx, KVRNPRIM *prim);

} // namespace kvern
