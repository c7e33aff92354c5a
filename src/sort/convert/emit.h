// Internal record to finished record, per form, and the in-core output.
#pragma once

#include "session/context.h"

namespace kvern {

using emitroutine = int32_t (*)(qha5ctx *ctx, blockhdr *block, const uint8_t *record);

// Puts one record at the block's next and steps next: 0 placed, 1 no room (limit
// is then set to next), -1 failed.  The block's count is the caller's.
[[nodiscard]] emitroutine chooseemit(const qha5ctx *ctx);
// The same as `plainemit`.
void wireemit(qha5ctx *ctx);

// The in-core `deliver` of a sort that keeps all records, by record form.
[[nodiscard]] blockroutine chooseplain(const qha5ctx *ctx);

// Around the records of one output block: empties it; sets its limit, and iostat
// where `placed`, the last result of an emit routine, is a failure.
void beginoutput(blockhdr *block);
blockhdr *endoutput(blockhdr *block, int32_t placed);

} // namespace kvern
