// The output of an external sort.
#pragma once

#include "session/context.h"

namespace kvern {

using deliverroutine = blockhdr *(*)(qha5ctx *ctx, blockhdr *block);

// The routine for the session's key width: fills one output block; count 0 and the
// temporary files gone when the output is finished.
[[nodiscard]] deliverroutine choosemerge(const qha5ctx *ctx);

// The same for any width.
blockhdr *delivermerged(qha5ctx *ctx, blockhdr *block);

} // namespace kvern
