// The merge as the session sees it.
//
// Here: inputs that are in order become one output, a node each in one ordered list;
// mergeprepare.cpp divides the storage, mergeselect.cpp goes from record to record,
// mergeemit.cpp writes, mergedrivers.cpp and mergefeed.cpp bring blocks and carry them
// off.  Left to others: equal keys (merge/sum), the making of internal records
// (sort/convert), when files open and close (session/run).  In order: preparemerge,
// wiredriver, then mergefn until it gives merge_ended.
#pragma once

#include "session/context.h"

namespace kvern {

// 0, or -1 with the message out.
[[nodiscard]] int preparemerge(qha5ctx *ctx);

// Sets mergefn, by whether input and output are files or the caller.
void wiredriver(qha5ctx *ctx);

} // namespace kvern
