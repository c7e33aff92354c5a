// The intake of a sort as long as all records find a slot.
#pragma once

#include "session/context.h"

namespace kvern {

// The first `intake`: takes records into slots until all are used, and then goes external.
blockhdr *fillslots(qha5ctx *ctx, blockhdr *block);

} // namespace kvern
