// Bends what a caller hands over: any byte of the primary block, a number or code of a
// table's entry, a count, a name, a block that is not there.  What a block claims to hold
// is there all the same, so that any access beyond it is the engine's fault.  A count or
// length beyond every storage is the one claim that is not kept: it has to be refused
// before an entry is read.
#pragma once

#include "support/randomness.h"
#include "support/sessionrunner.h"

namespace kvern::test {

void bend(sessionspec &spec, randomness &r);
void bend(callerblocks &blocks, randomness &r);

} // namespace kvern::test
