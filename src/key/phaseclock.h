// The clock of the phases, which serves statistics alone.
#pragma once

#include "session/context.h"

namespace kvern {

// Where messages are so verbose that phases are timed: takes the time and notes how
// long the session has run.  A clock that fails is told, and the session goes on.
void markphase(qha5ctx *ctx);

} // namespace kvern
