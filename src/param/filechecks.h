// The session's files against its record form and lengths, and against each
// other; binds them.
#pragma once

#include "session/context.h"

namespace kvern {

// 0, or -1 with the message out.
[[nodiscard]] int checkinputs(qha5ctx *ctx);
[[nodiscard]] int checkoutput(qha5ctx *ctx);
[[nodiscard]] int checksamefile(qha5ctx *ctx);

} // namespace kvern
