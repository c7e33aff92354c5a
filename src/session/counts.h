// The counts of the balance that is tested when a session ends, and who may change them.
#pragma once

#include "session/context.h"
#include "session/qha9msg.h"

namespace kvern {

// Adds to incount.  0, or -1 after reporting: counts end where 32 bits end.
[[nodiscard]] inline int counttaken(qha5ctx *ctx, uint32_t records) {
    if (records > UINT32_MAX - ctx->incount)
        return faillogic(ctx);
    ctx->incount += records;
    return 0;
}
// And to that of one input.
[[nodiscard]] inline int countin(qha5ctx *ctx, uint32_t input, uint32_t records) {
    if (counttaken(ctx, records) != 0)
        return -1;
    ctx->perinput[input] += records;
    return 0;
}
inline void countout(qha5ctx *ctx, uint32_t records) {
    ctx->outcount += records;
}

// Lines that the readers did not count have all become records, or were dropped.
inline void settletaken(qha5ctx *ctx) {
    ctx->incount = ctx->selectcount + ctx->seqno;
}

// The counts of a copy may wrap, so they are followed block by block.
inline void countcopied(qha5ctx *ctx, uint32_t input, uint32_t records) {
    ctx->incount += records;
    ctx->perinput[input] += records;
    ctx->intotal.follow(ctx->incount);
    ctx->outtotal.follow(ctx->outcount);
    ctx->droptotal.follow(ctx->selectcount);
}

} // namespace kvern
