// Turns a system error code and the operation that failed into one message and
// one detail code.
#pragma once

#include "session/context.h"

namespace kvern {

enum class fileop : uint32_t { open = 0, close = 1, read = 2, write = 3 };

// Stores the code in errnum and issues the message; the arguments (file name,
// code) are filled before.  Always -1.
int mapsyserror(qha5ctx *ctx, platform::syserror code, fileop operation, uint32_t mode);

} // namespace kvern
