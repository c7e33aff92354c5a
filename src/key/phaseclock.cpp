#include "key/phaseclock.h"

#include "platform/platform.h"
#include "session/qha9msg.h"

namespace kvern {
namespace {

constexpr uint8_t timedlevel = 3; // message level from which phases are timed
constexpr int lv_elapsed = 6;     // print level of the time taken
constexpr int64_t minute = 60;

} // namespace

bool readclock(qha5ctx *ctx, int64_t *when) {
    const platform::syserror error = platform::currenttime(when);
    if (error == 0)
        return true;
    ctx->errnum = error;
    setargs(ctx, msgarg::of("time"), msgarg::of(error));
    report(ctx, 0, 83, lv_failure);
    return false;
}

void markphase(qha5ctx *ctx) {
    if (ctx->msglevel < timedlevel || !readclock(ctx, &ctx->phasetime))
        return;
    const int64_t elapsed = ctx->phasetime - ctx->starttime;
    setargs(ctx, msgarg::of(1u), msgarg::of(static_cast<uint32_t>(elapsed / minute)));
    ctx->msgarg3 = msgarg::of(static_cast<uint32_t>(elapsed % minute));
    ctx->msgargc = 3;
    report(ctx, 0, statpoint + 56, lv_elapsed);
}

} // namespace kvern
