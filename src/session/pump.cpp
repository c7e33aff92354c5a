#include "session/pump.h"

#include <cstring>

namespace kvern {

namespace {

enum threadslot : unsigned { ts_hook = 0, ts_arg = 1 };
static_assert(sizeof(hookroutine) == sizeof(void *));

void callhook(qha5ctx *ctx) {
    void *word = platform::threadword(ts_hook);
    if (word == nullptr)
        return;
    hookroutine hook;
    memcpy(&hook, &word, sizeof hook);
    if (hook(ctx->userblk, platform::threadword(ts_arg)) != 0)
        ctx->cancelled = 1;
}

} // namespace

void sethook(hookroutine hook, void *arg) {
    void *word;
    memcpy(&word, &hook, sizeof word);
    platform::setthreadword(ts_hook, word);
    platform::setthreadword(ts_arg, arg);
}

bool pumpround(qha5ctx *ctx) {
    platform::messageround();
    callhook(ctx);
    return ctx->cancelled == 1;
}

} // namespace kvern
