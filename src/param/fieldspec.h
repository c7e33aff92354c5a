// The four field tables of the caller, analysed in this order: sum, rebuild,
// selection, key.  Each is walked from its last entry to its first, so that of
// several faulty entries the one with the highest number is told (from 0).
#pragma once

#include "session/context.h"
#include "session/qha9msg.h"

namespace kvern {

// Options and files are analysed.  0, or -1 with the message out.
[[nodiscard]] int readfields(qha5ctx *ctx, const KVRNPRIM *prim, const KVRNKEY *keys,
                             const KVRNOPT *opts);

// The tables one by one.  A null or empty table where one is needed is told as
// entry 0.
[[nodiscard]] int readsum(qha5ctx *ctx, const KVRNSUM *table);       // sumspec
[[nodiscard]] int readrecon(qha5ctx *ctx, const KVRNRCN *table);     // reconspec, outreclen
[[nodiscard]] int readselection(qha5ctx *ctx, const KVRNSEL *table); // selspec
// Builds the key table, with the pieces of `sum` (null without summation), and
// wires it.
[[nodiscard]] int readkeys(qha5ctx *ctx, const KVRNPRIM *prim, const KVRNKEY *table,
                           const KVRNSUM *sum);

inline int refusekey(qha5ctx *ctx, uint32_t entry) {
    return fail(ctx, msg_keyfield, KVRN_D_KEYFIELD, entry);
}
inline int refusesum(qha5ctx *ctx, uint32_t entry) {
    return fail(ctx, msg_sumfield, KVRN_D_SUMFIELD, entry);
}
inline int refuserecon(qha5ctx *ctx, uint32_t entry) {
    return fail(ctx, msg_rcnfield, KVRN_D_RCNFIELD, entry);
}
inline int refuseselection(qha5ctx *ctx, uint32_t entry) {
    return fail(ctx, msg_selfield, KVRN_D_SELFIELD, entry);
}

inline void raise(uint32_t &highest, uint32_t value) {
    if (value > highest)
        highest = value;
}

} // namespace kvern
