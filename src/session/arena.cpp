#include "session/arena.h"

#include "session/qha9msg.h"

#include <cstring>

namespace kvern {

uint8_t *arenatake(qha5ctx *ctx, uint64_t bytes) {
    if (bytes > ctx->arenafree)
        return nullptr;
    const uint64_t taken = arenaround(bytes);
    if (taken > ctx->arenafree)
        return nullptr;
    uint8_t *place = ctx->arenanext;
    ctx->arenanext += taken;
    ctx->arenafree -= static_cast<uint32_t>(taken);
    return place;
}

uint8_t *arenaneed(qha5ctx *ctx, uint64_t bytes, uint32_t detail) {
    uint8_t *place = arenatake(ctx, bytes);
    if (place == nullptr)
        fail(ctx, msg_nostorage, detail);
    return place;
}

char *arenatext(qha5ctx *ctx, const char *text) {
    const size_t bytes = strlen(text) + 1;
    uint8_t *place = arenaneed(ctx, bytes);
    if (place != nullptr)
        memcpy(place, text, bytes);
    return reinterpret_cast<char *>(place);
}

} // namespace kvern
