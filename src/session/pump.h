// One round of the message pump, and the hook of the calling thread: one routine of
// the program that uses us, with its argument, kept in the thread's two words.  It may
// make control calls on the running session; record calls and the close are refused
// meanwhile.
#pragma once

#include "session/context.h"

namespace kvern {

using hookroutine = int(KVRN_CALL *)(KVRNSESS *sess, void *arg);

void sethook(hookroutine hook, void *arg);

// A message of the thread's queue where there is one, then the thread's hook, whose
// result other than zero stops the session.  True when the session was asked to stop:
// the caller returns -1, silently.
[[nodiscard]] bool pumpround(qha5ctx *ctx);

} // namespace kvern
