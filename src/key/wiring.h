// Gives every row of the key table its encoder and decoder.
#pragma once

#include "session/context.h"

namespace kvern {

// 0, or -1 with message 43 for a type or code that has no routine.
[[nodiscard]] int wire(qha5ctx *ctx);

} // namespace kvern
