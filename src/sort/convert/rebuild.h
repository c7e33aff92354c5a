// The `encode` routines of a session with a reconstruction table.
#pragma once

#include "session/context.h"

namespace kvern {

using encoderoutine = decltype(sort_fields::encode);

// Sort and merge make an internal record of the rebuilt record; a copy gets the
// rebuilt record itself, text with its delimiter and its length in reconlen.
[[nodiscard]] encoderoutine chooserebuild(const qha5ctx *ctx);

} // namespace kvern
