// The hook of the calling thread: one routine of the program that uses us, with
// its argument, kept in the thread's two words.  It may make control calls on
// the running session; record calls and the close are refused meanwhile.
#pragma once

#include "session/context.h"

namespace kvern {

using hookroutine = int(KVRN_CALL *)(KVRNSESS *sess, void *arg);

void sethook(hookroutine hook, void *arg);

// Runs the hook, if there is one; a non-zero result stops the session.
void callhook(qha5ctx *ctx);

} // namespace kvern
