// The last step of a sort's set-up: divides what is left of the working storage
// into field tables, work buffers and record slots, and chooses the routines
// that run for each record.
#pragma once

#include "session/context.h"

namespace kvern {

// Reads sortnext and sortfree.  0, or -1 with the message out.
[[nodiscard]] int setuppipeline(qha5ctx *ctx);

} // namespace kvern
