// Raw record to internal record: the eight `encode` routines.
#pragma once

#include "session/context.h"

namespace kvern {

using encoderoutine = int32_t (*)(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal);

// The routine for the session's record form, field mode and reconstruction.
[[nodiscard]] encoderoutine chooseencode(const qha5ctx *ctx);

} // namespace kvern
