// What the block flow calls, in its order.
#pragma once

#include "session/context.h"
#include "sort/convert/emit.h"

namespace kvern {

// Divides what is left of the working storage into field tables, work buffers and
// record slots, and chooses the routines that run for each record.  Reads
// sortnext and sortfree.  0, or -1 with the message out.
[[nodiscard]] int setuppipeline(qha5ctx *ctx);

// The first `intake`: takes records into slots until all are used, and then goes external.
[[nodiscard]] blockroutine chooseintake(const qha5ctx *ctx);

// What happens between the last input block and the first output block.
[[nodiscard]] int runphases(qha5ctx *ctx);

// The in-core `deliver`: plain by record form, or grouping (recfunc not 0).
[[nodiscard]] blockroutine choosedeliver(const qha5ctx *ctx);

} // namespace kvern
