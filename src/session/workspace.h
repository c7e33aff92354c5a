// What is left of the working storage while a set-up divides it.
#pragma once

#include "session/arena.h"
#include "session/qha9msg.h"

namespace kvern {

struct workspace {
    uint8_t *next; // aligned for a pointer
    uint32_t left;

    // Room for `bytes`, not cleared.  A byte at least must stay: null, without a message,
    // when what is asked is not below what is left.
    [[nodiscard]] uint8_t *take(uint64_t bytes) {
        bytes = arenaround(bytes);
        if (bytes >= left)
            return nullptr;
        uint8_t *taken = next;
        next += bytes;
        left -= static_cast<uint32_t>(bytes);
        return taken;
    }
};

// What the arena has left, to be divided; and what a division left over, given back.
inline workspace arenarest(const qha5ctx *ctx) {
    return {ctx->arenanext, ctx->arenafree};
}
inline void arenaleave(qha5ctx *ctx, const workspace &rest) {
    ctx->arenanext = rest.next;
    ctx->arenafree = rest.left;
}

// Room for `count` objects, as take gives it; null after message 23.
template <typename Object>
[[nodiscard]] Object *carve(qha5ctx *ctx, workspace &space, uint64_t count,
                            uint32_t detail = KVRN_D_STORAGE) {
    uint8_t *taken = space.take(count * sizeof(Object));
    if (taken == nullptr)
        fail(ctx, msg_nostorage, detail);
    return reinterpret_cast<Object *>(taken);
}

} // namespace kvern
