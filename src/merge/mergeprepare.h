// Set-up of a merge: divides what is left of the working storage and chooses the
// routines that run for each record.
#pragma once

#include "session/context.h"

namespace kvern {

// 0, or -1 with the message out.
[[nodiscard]] int preparemerge(qha5ctx *ctx);

} // namespace kvern
