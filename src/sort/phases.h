// The phase driver: what happens between the last input block and the first
// output block.
#pragma once

#include "session/context.h"

namespace kvern {

[[nodiscard]] int runphases(qha5ctx *ctx);

} // namespace kvern
