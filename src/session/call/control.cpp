// The control calls: what a front end may tell a session while it runs.

#include "session/busy.h"
#include "session/call/exported.h"
#include "session/pump.h"

using kvern::qha5ctx;
using kvern::sessionof;

namespace {

constexpr unsigned char lowestlevel = 1;
constexpr unsigned char highestlevel = 6;

} // namespace

extern "C" {

KVERN_EXPORTED int KVRN_CALL kvrnstop(KVRNSESS *sess) {
    qha5ctx *ctx = sessionof(sess);
    if (ctx == nullptr)
        return KVRN_FAILED;
    ctx->cancelled = 1;
    return KVRN_DONE;
}

KVERN_EXPORTED int KVRN_CALL kvrnlevl(KVRNSESS *sess, unsigned char level) {
    qha5ctx *ctx = sessionof(sess);
    if ((ctx == nullptr) || level < lowestlevel || level > highestlevel)
        return KVRN_FAILED;
    ctx->msglevel = level;
    return KVRN_DONE;
}

KVERN_EXPORTED int KVRN_CALL kvrntmpd(KVRNSESS *sess, const char *dirs) {
    qha5ctx *ctx = sessionof(sess);
    if (ctx == nullptr)
        return KVRN_FAILED;
    ctx->earlydir = dirs;
    return KVRN_DONE;
}

KVERN_EXPORTED void KVRN_CALL kvrnhook(int(KVRN_CALL *hook)(KVRNSESS *sess, void *arg), void *arg) {
    kvern::sethook(hook, arg);
}

} // extern "C"
