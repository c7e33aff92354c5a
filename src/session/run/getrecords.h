// Output through the caller: kvrnget's records and blocks come out of getblock,
// which is drawn anew when it is used up.
#pragma once

#include "session/run/putrecords.h"

namespace kvern {

// What a call does once the block holds records.
[[nodiscard]] callroutine chooseget(const qha5ctx *ctx);

// kvrnget without order checks: 0 a record or block, 1 end of data, -1 failed.
[[nodiscard]] int getcall(qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
