// The way out of a merge: one record into the output block.
#pragma once

#include "session/context.h"

namespace kvern {

// The `emitfn` of the session.  Also sets plainemit, the record form's routine.
[[nodiscard]] decltype(merge_fields::emitfn) chooseemitfn(qha5ctx *ctx);

} // namespace kvern
