// The steps of the analysis and of the cross-checks, in the order of their calls.
// Those that give an int: 0, or -1 with the message out.
#pragma once

#include "session/context.h"

namespace kvern {

// The bytes of KVRNPRIM: each tested, in a fixed order, and stored.  ctx->level
// is set.  Writes back fileoprat (level 0) and recoprat (225).  -1
// with message 14 and the name of the first faulty field.
[[nodiscard]] int readoptions(qha5ctx *ctx, KVRNPRIM *prim);

// The two sides of the session: one file-control record for each input file and for the
// output, and the caller's work paths.
// Decides which sides are files, and builds their records.  files may be null.
// -1 without a message for an unknown input kind.
[[nodiscard]] int buildfiles(qha5ctx *ctx, const KVRNFILE *files);

// The files against record form and lengths, and against each other; binds them.
[[nodiscard]] int checkinputs(qha5ctx *ctx);
[[nodiscard]] int checkoutput(qha5ctx *ctx);
[[nodiscard]] int checksamefile(qha5ctx *ctx);

// The record geometry: where the fields lie in the records, and the lengths that
// follow.  Positions are checked here, since they need the finished key table.
[[nodiscard]] int checkpieces(qha5ctx *ctx);
void settlelengths(qha5ctx *ctx);
[[nodiscard]] int checksums(qha5ctx *ctx);
[[nodiscard]] int checkconditions(qha5ctx *ctx);

} // namespace kvern
