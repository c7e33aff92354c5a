// Calls on files that may wait: for the other end of a pipe, for a device.  Each
// interruption gives the pump a turn, and the call goes on where it was.  A code for
// which isinterrupted() holds comes out only where a stop was asked for then: the caller
// returns -1, silently.
#pragma once

#include "session/pump.h"

namespace kvern {

// `call` does all or nothing.
template <typename Call>
[[nodiscard]] auto waited(qha5ctx *ctx, Call call) {
    auto code = call();
    while (platform::isinterrupted(code) && !pumpround(ctx))
        code = call();
    return code;
}

// `move` moves `length` bytes or fails, and may have moved some of them when it is
// interrupted; *count tells how many were moved in all.
template <typename Move, typename File, typename Byte>
[[nodiscard]] auto movedwhole(qha5ctx *ctx, Move move, File file, Byte *bytes, uint32_t length,
                              uint32_t *count) {
    *count = 0;
    return waited(ctx, [&] {
        uint32_t moved = 0;
        const auto code = move(file, bytes + *count, length - *count, &moved);
        *count += moved;
        return code;
    });
}

} // namespace kvern
