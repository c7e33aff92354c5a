// The held record: of records of equal key one is kept (or summed into).
#pragma once

#include "session/context.h"

namespace kvern {

// The in-core output of a session with recfunc 1 or 2.
blockhdr *delivergrouped(qha5ctx *ctx, blockhdr *block);

} // namespace kvern
