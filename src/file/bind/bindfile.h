// Binding of a file-control record: which routines move its data.  One row for each
// kind and record form that go together; this folder alone knows all the kinds.
#pragma once

#include "session/context.h"

namespace kvern {

// Fills the four routine slots by kind and record form.  0, or -1: message 15
// for a form that the kind cannot hold, none for an unknown kind.
[[nodiscard]] int bindfile(qha5ctx *ctx, filectl *file);

} // namespace kvern
