// Input through the caller: kvrnput's records and blocks go into putblock, which
// is fed to the sort when the next record has no room in it.
#pragma once

#include "session/context.h"

namespace kvern {

using callroutine = int (*)(qha5ctx *ctx, KVRNSESS *sess);

// What code 16 does in this session.
[[nodiscard]] callroutine chooseput(const qha5ctx *ctx);

// kvrnput without order checks: 0 taken, 1 input ended, -1 failed.
[[nodiscard]] int putcall(qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
