#include "session/pump.h"

#include "session/hook.h"

namespace kvern {

bool pumpround(qha5ctx *ctx) {
    platform::messageround();
    callhook(ctx);
    return ctx->cancelled == 1;
}

} // namespace kvern
