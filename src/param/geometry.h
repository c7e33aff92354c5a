// The record geometry: where the fields of a session lie in its records, and the
// lengths that follow.  Positions are checked here, since they need the finished
// key table.
#pragma once

#include "session/context.h"

namespace kvern {

// Called in this order.  0, or -1 with the message out.
[[nodiscard]] int checkpieces(qha5ctx *ctx);
void settlelengths(qha5ctx *ctx);
[[nodiscard]] int checksums(qha5ctx *ctx);
[[nodiscard]] int checkconditions(qha5ctx *ctx);

} // namespace kvern
