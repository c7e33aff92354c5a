// The routines of a merge, chosen at set-up.
#pragma once

#include "session/context.h"

namespace kvern {

// The `mergefn` of a merge with caller input.
[[nodiscard]] decltype(merge_fields::mergefn) choosefeeder(const qha5ctx *ctx);

// The `selectfn` that a merge begins with; it changes to that of the steady state by
// itself when every input has given a record or ended.
[[nodiscard]] decltype(merge_fields::selectfn) chooseselector(const qha5ctx *ctx);

// The `nextrecfn`: with or without the record filter.
[[nodiscard]] decltype(merge_fields::nextrecfn) choosenext(const qha5ctx *ctx);

// The `emitfn` of the session: one record out, into the output block.  Also sets plainemit, the
// record form's routine.
[[nodiscard]] decltype(merge_fields::emitfn) chooseemitfn(qha5ctx *ctx);

} // namespace kvern
