// The four drivers of a merge, by whether input and output are files or the caller.
#pragma once

#include "session/context.h"

namespace kvern {

// The `mergefn` of the session.
void wiredriver(qha5ctx *ctx);

// Those with caller input (mergefeed.cpp).
[[nodiscard]] decltype(merge_fields::mergefn) choosefeeder(const qha5ctx *ctx);

} // namespace kvern
