// The message catalogue: rows 0 to 92.
#pragma once

#include "session/qha9msg.h"

namespace kvern {

// Constants only: the checker sees no initializer here.
extern const char *const qha9msgt[msgrows]; // NOLINT(bugprone-dynamic-static-initializers)

} // namespace kvern
