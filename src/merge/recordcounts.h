// Counting of records on the way in.
#pragma once

#include "session/context.h"
#include "session/qha9msg.h"

namespace kvern {

// Adds to incount and to that of one input.  0, or -1 after reporting: counts end
// where 32 bits end.
[[nodiscard]] inline int countin(qha5ctx *ctx, uint32_t input, uint32_t records) {
    if (records > UINT32_MAX - ctx->incount)
        return faillogic(ctx);
    ctx->incount += records;
    ctx->perinput[input] += records;
    return 0;
}

} // namespace kvern
