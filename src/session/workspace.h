// What is left of the working storage while a set-up divides it.
#pragma once

#include "session/arena.h"
#include "session/qha9msg.h"

namespace kvern {

struct workspace {
    uint8_t *next; // aligned for a pointer
    uint32_t left;
};

// Takes room for `count` objects, not cleared.  A byte at least must stay: null
// after message 23 when what is asked is not below what is left.
template <typename Object>
[[nodiscard]] Object *carve(qha5ctx *ctx, workspace &space, uint64_t count,
                            uint32_t detail = KVRN_D_STORAGE) {
    const uint64_t bytes = arenaround(count * sizeof(Object));
    if (bytes >= space.left) {
        fail(ctx, msg_nostorage, detail);
        return nullptr;
    }
    Object *taken = reinterpret_cast<Object *>(space.next);
    space.next += bytes;
    space.left -= static_cast<uint32_t>(bytes);
    return taken;
}

} // namespace kvern
