// The merge as the session sees it: set-up, then the driver that it calls again and
// again, in the slot mergefn.
#pragma once

#include "session/context.h"

namespace kvern {

// 0, or -1 with the message out.
[[nodiscard]] int preparemerge(qha5ctx *ctx);

// Sets mergefn, by whether input and output are files or the caller.
void wiredriver(qha5ctx *ctx);

} // namespace kvern
