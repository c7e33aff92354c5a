// Raw record to internal record: the eight `encode` routines.
#pragma once

#include "sort/record/recordform.h"

namespace kvern {

// The routine for the session's record form, field mode and reconstruction.
[[nodiscard]] encoderoutine chooseencode(const qha5ctx *ctx);

} // namespace kvern
