// Grouping on the way out of the final merge.
#pragma once

#include "session/context.h"

namespace kvern {

// The `emit` of an external sort with recfunc 1 or 2.  Counts the records it places.
int32_t emitgrouped(qha5ctx *ctx, blockhdr *block, const uint8_t *record);

} // namespace kvern
