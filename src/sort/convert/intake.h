// Raw record to internal record: the eight `encode` routines.
#pragma once

#include "session/workspace.h"

namespace kvern {

// Sets `encode` by the session's record form, field mode and reconstruction.
void wireencode(qha5ctx *ctx);
// Work areas of an encode, recwork and keyscratch.  0, or -1 with message 23.
[[nodiscard]] int layoutwork(qha5ctx *ctx, workspace &space);

} // namespace kvern
