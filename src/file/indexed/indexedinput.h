// Indexed inputs are asked what they are while the session is set up.
#pragma once

#include "session/context.h"

namespace kvern {

// Reads the description of an indexed input, one of `filecount` inputs; `number`
// of them were described before.  0, or -1 with message 75 out behind what told
// the cause, or with message 23.
[[nodiscard]] int describeindexed(qha5ctx *ctx, filectl *file, uint32_t number, uint32_t filecount);

} // namespace kvern
