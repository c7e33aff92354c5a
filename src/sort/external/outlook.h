// What the phases behind the intake need of the storage, should the sort spill.
#pragma once

#include "session/context.h"

namespace kvern {

// Finds the numbers that follow from the pool of slots and the work blocks (frozenlimit,
// recperwb, idxperwb) and tests that later phases can live in sortfree.  0, or -1 with
// message 23.
[[nodiscard]] int reservespill(qha5ctx *ctx);

} // namespace kvern
