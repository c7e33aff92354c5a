// The clock of the phases, which serves statistics alone.
#pragma once

#include "session/context.h"

namespace kvern {

// Messages are so verbose that phases are timed.
inline bool istimed(const qha5ctx *ctx) {
    return ctx->msglevel >= 3;
}

// Takes the time.  False: the clock failed, which is told, and the session goes on.
[[nodiscard]] bool readclock(qha5ctx *ctx, int64_t *when);

// Where phases are timed: takes the time and notes how long the session has run.
void markphase(qha5ctx *ctx);

} // namespace kvern
