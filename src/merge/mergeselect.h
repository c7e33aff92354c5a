// The selection step of a merge: takes blocks of input and fills the output block, up
// to where it needs a block or has filled one.
#pragma once

#include "session/context.h"

namespace kvern {

// The `selectfn` that a merge begins with; it changes to that of the steady state by
// itself when every input has given a record or ended.
[[nodiscard]] decltype(merge_fields::selectfn) chooseselectfn(const qha5ctx *ctx);

// The `nextrecfn`: with or without the record filter.
[[nodiscard]] decltype(merge_fields::nextrecfn) choosenext(const qha5ctx *ctx);

} // namespace kvern
