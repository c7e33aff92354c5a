// The `encode` routines of a session with a reconstruction table.
#pragma once

#include "sort/record/recordform.h"

namespace kvern {

// Sort and merge make an internal record of the rebuilt record; a copy gets the
// rebuilt record itself, text with its delimiter and its length in reconlen.
[[nodiscard]] encoderoutine chooserebuild(const qha5ctx *ctx);

} // namespace kvern
