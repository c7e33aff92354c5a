#include "session/phaseclock.h"

#include "platform/platform.h"
#include "session/qha9msg.h"

namespace kvern {
namespace {

constexpr int64_t minute = 60;

} // namespace

bool readclock(qha5ctx *ctx, int64_t *when) {
    const platform::syserror error = platform::currenttime(when);
    if (error == 0)
        return true;
    notesyscode(ctx, error);
    (void)fail(ctx, msg_systemcall, 0, "time", error);
    return false;
}

void markphase(qha5ctx *ctx) {
    if (!istimed(ctx) || !readclock(ctx, &ctx->phasetime))
        return;
    const int64_t elapsed = ctx->phasetime - ctx->starttime;
    point(ctx, msg_phasetime, lv_inner, 1u, static_cast<uint32_t>(elapsed / minute),
          static_cast<uint32_t>(elapsed % minute));
}

} // namespace kvern
