// One round of the message pump: a message of the thread's queue where there is
// one, then the thread's hook, then the test for a stop.
#pragma once

#include "session/context.h"

namespace kvern {

// True when the session was asked to stop: the caller returns -1, silently.
[[nodiscard]] bool pumpround(qha5ctx *ctx);

} // namespace kvern
