#include "session/run/steps.h"

#include "param/param.h"
#include "session/pump.h"

namespace kvern {

namespace {

constexpr uint32_t startuprounds = 1000; // rounds that wait for a deposited text
constexpr uint32_t shrinkpercent = 5;    // taken off the work area while it cannot be had

int refusecreate(KVRNSESS *sess, uint32_t detail) {
    sess->detail = detail;
    return -1;
}

// Settles the size of the work area; false when too little was asked for.
bool agreesize(KVRNPRIM *prim) {
    if (prim->memsize == 0)
        prim->memsize = KVRN_MEM_DEFAULT;
    if (prim->memsize > KVRN_MEM_MAX)
        prim->memsize = KVRN_MEM_MAX;
    return prim->memsize >= KVRN_MEM_MIN;
}

qha5ctx *newcontext(uint32_t version, KVRNLINK *link, KVRNSESS *sess) {
    platform::memory self;
    if (!platform::takememory(sizeof(qha5ctx), &self))
        return nullptr;
    auto *ctx = static_cast<qha5ctx *>(self.address);
    ctx->self = self;
    ctx->userblk = sess;
    ctx->link = link;
    ctx->version = version;
    ctx->msglevel = 1;
    ctx->busy = true;
    sess->ctx = ctx;
    sess->ctxhandle = self.handle != nullptr ? self.handle : self.address;
    return ctx;
}

// Gives the caller's handlers a chance to deposit a text of directories; true
// when one of them stopped the session.
bool startuppump(qha5ctx *ctx) {
    for (uint32_t round = 0; round < startuprounds && (ctx->earlydir == nullptr); ++round)
        if (pumpround(ctx))
            return true;
    return false;
}

bool takeworkarea(qha5ctx *ctx, uint32_t size) {
    while (size >= KVRN_MEM_MIN) {
        if (platform::takememory(size, &ctx->work)) {
            ctx->worksize = size;
            return true;
        }
        size -= size * shrinkpercent / 100; // at most 10 MiB, so no overflow
    }
    return false;
}

} // namespace

int ctxcreate(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
              const KVRNFILE *files, qha5ctx **out) {
    *out = nullptr;
    if (!agreesize(prim))
        return refusecreate(sess, KVRN_D_STORAGE);
    qha5ctx *ctx = *out = newcontext(version, link, sess);
    if (ctx == nullptr)
        return refusecreate(sess, KVRN_D_CONTEXT);
    platform::wantmanyfiles();
    if (startuppump(ctx))
        return 1;
    if (!takeworkarea(ctx, prim->memsize))
        return refusecreate(sess, KVRN_D_WORKAREA);
    prim->memaddr = ctx->work.address;
    ctx->arenanext = static_cast<uint8_t *>(ctx->work.address);
    ctx->arenafree = ctx->worksize;
    if (prim->function == KVRN_SORT && findplaces(ctx, sess, files) != 0)
        return -1;
    return 0;
}

void ctxrelease(const qha5ctx *ctx, KVRNSESS *sess) {
    if (ctx->worksize != 0)
        platform::freememory(ctx->work, ctx->worksize);
    sess->ctxhandle = nullptr;
    const platform::memory self = ctx->self;
    platform::freememory(self, sizeof(qha5ctx));
}

} // namespace kvern
