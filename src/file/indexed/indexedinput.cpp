#include "file/indexed/indexed.h"

#include "file/indexed/idxformat.h"
#include "file/indexed/idxreader.h"
#include "session/arena.h"
#include "session/qha9msg.h"

#include <cstring>

namespace kvern {
namespace {

// What a description takes of the arena.  The struct is shorter; callers know by
// experience how many records a storage size holds, and that counts it so.
constexpr uint32_t descriptionroom = 2020;
static_assert(sizeof(idxinfo) <= descriptionroom);

uint8_t *takecleared(qha5ctx *ctx, uint64_t bytes) {
    uint8_t *room = arenaneed(ctx, bytes);
    if (room != nullptr)
        memset(room, 0, static_cast<size_t>(bytes));
    return room;
}

int refuseindexed(qha5ctx *ctx) {
    return fail(ctx, msg_filesystem, KVRN_D_FILESYSTEM, "cobidx");
}

int takedescription(qha5ctx *ctx, uint32_t number, uint32_t filecount) {
    if (number == 0) {
        uint8_t *list = takecleared(ctx, uint64_t{filecount} * sizeof(idxinfo *));
        if (list == nullptr)
            return -1;
        ctx->idxinfos = reinterpret_cast<idxinfo **>(list);
    }
    uint8_t *info = takecleared(ctx, descriptionroom);
    if (info == nullptr)
        return -1;
    ctx->idxinfos[number] = reinterpret_cast<idxinfo *>(info);
    ctx->idxcur = number;
    ctx->idxhdr = takecleared(ctx, idxformat::headerlen);
    return ctx->idxhdr != nullptr ? 0 : -1;
}

int takeroom(qha5ctx *ctx, const idxinfo &info) {
    ctx->idxentry = takecleared(ctx, roundup(uint64_t{info.keypartcount} * idxformat::entrylen, 4));
    if (ctx->idxentry == nullptr)
        return -1;
    ctx->idxblock = takecleared(ctx, roundup(idxblocksize(info), 4));
    return ctx->idxblock != nullptr ? 0 : -1;
}

} // namespace

int describeindexed(qha5ctx *ctx, filectl *file, uint32_t number, uint32_t filecount) {
    if (takedescription(ctx, number, filecount) != 0)
        return -1;
    if (idxreadhdr(ctx, file) != 0)
        return refuseindexed(ctx);
    if (takeroom(ctx, *ctx->idxinfos[number]) != 0) {
        idxclose(ctx, file);
        return -1;
    }
    return idxreadkeys(ctx, file) == 0 ? 0 : refuseindexed(ctx);
}

} // namespace kvern
