// Checks that look at the session as a whole, after analyse(): files against
// record form and lengths, options against each other, field positions against
// the record; settles the record geometry and binds the files.
#pragma once

#include "session/context.h"

namespace kvern {

[[nodiscard]] int crosscheck(qha5ctx *ctx);

} // namespace kvern
