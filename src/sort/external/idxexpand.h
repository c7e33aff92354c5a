// Groups of the ordered index that come due in the final merge.
#pragma once

#include "session/context.h"

namespace kvern {

struct idxentry;

// The x entry, second in idxlist, gives way to the entries of its group, read into
// `buffer`.  0, or -1.
[[nodiscard]] int expandgroup(qha5ctx *ctx, idxentry *group, blockhdr *buffer);

} // namespace kvern
