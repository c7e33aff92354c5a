// The message catalogue: rows 0 to 92.
#pragma once

#include "session/qha9msg.h"

namespace kvern {

extern const char *const qha9msgt[msgrows];

} // namespace kvern
