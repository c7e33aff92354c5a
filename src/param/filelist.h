// The two sides of the session: one file-control record for each input file and
// for the output, and the caller's work paths.
#pragma once

#include "session/context.h"

namespace kvern {

// Decides which sides are files, and builds their records.  files may be null.
// 0, or -1 with the message out, none for an unknown input kind.
[[nodiscard]] int buildfiles(qha5ctx *ctx, const KVRNFILE *files);

} // namespace kvern
