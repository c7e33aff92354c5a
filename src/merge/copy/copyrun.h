// The wiring of a copy's run.
#pragma once

#include "session/context.h"

namespace kvern {

// Fills countblock, copyinput and copystep.
void choosecopyrun(qha5ctx *ctx);

} // namespace kvern
