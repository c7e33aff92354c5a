// Bump allocation in the session's work area.  Every take is rounded up to the
// alignment of a pointer (4 bytes on 32-bit targets); nothing is given back
// before the session ends.
#pragma once

#include "session/context.h"

namespace kvern {

constexpr uint64_t roundup(uint64_t bytes, uint64_t unit) {
    return (bytes + unit - 1) / unit * unit;
}
constexpr uint64_t rounddown(uint64_t bytes, uint64_t unit) {
    return bytes / unit * unit;
}

constexpr uint32_t arenaunit = alignof(void *);

constexpr uint64_t arenaround(uint64_t bytes) {
    return roundup(bytes, arenaunit);
}

// The next `bytes` bytes, not cleared; null when fewer are left (no message).
[[nodiscard]] uint8_t *arenatake(qha5ctx *ctx, uint64_t bytes);

// The same with message 23 and the given detail code when short.
[[nodiscard]] uint8_t *arenaneed(qha5ctx *ctx, uint64_t bytes, uint32_t detail = KVRN_D_STORAGE);

// Bytes that count as taken and serve nobody; as many must be left.
inline void arenalose(qha5ctx *ctx, uint32_t bytes) {
    ctx->arenafree -= bytes;
}

// A zero-ended copy of a text; null after message 23, detail 50.
[[nodiscard]] char *arenatext(qha5ctx *ctx, const char *text);

} // namespace kvern
