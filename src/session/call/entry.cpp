// The exported calls: kvrnopen, then kvrnput and kvrnget or kvrnmrge, then kvrnclse.
//
// In this folder: what leaves the library.  Here stand the tests that need no session;
// the rest is a step into the engine under the session's busy mark.  binding finds the
// engine behind kvrnopen, callorder tests whether a record call is due, control and
// inquiry are the calls of front ends.  Left to others: whatever a session does
// (session/run).

#include "session/busy.h"
#include "session/call/binding.h"
#include "session/call/callorder.h"
#include "session/call/exported.h"
#include "session/run/run.h"

namespace kvern {

namespace {

int refuseentry(KVRNSESS *sess, uint32_t detail, int result = KVRN_FAILED) {
    sess->detail = detail;
    return result;
}

int enter(KVRNSESS *sess, uint32_t wronguse, callroutine call) {
    if (sess == nullptr)
        return KVRN_FAILED;
    auto *ctx = static_cast<qha5ctx *>(sess->ctx);
    if (ctx == nullptr)
        return refuseentry(sess, wronguse);
    if (ctx->busy)
        return refusepassing(ctx, sess, wronguse);
    const busymark running(ctx);
    return endcall(ctx, call(ctx, sess));
}

} // namespace

} // namespace kvern

using namespace kvern;

extern "C" {

KVERN_EXPORTED int KVRN_CALL kvrnopen(uint32_t version, KVRNLINK *link, KVRNPRIM *prim,
                                      KVRNSESS *sess, KVRNKEY *keys, KVRNFILE *files,
                                      KVRNOPT *opts) {
    if ((link == nullptr) || (prim == nullptr) || (sess == nullptr))
        return KVRN_NOSESSION;
    if (!versionadmitted(version))
        return refuseentry(sess, KVRN_D_VERSION, KVRN_NOSESSION);
    if (!bindengine(link))
        return refuseentry(sess, KVRN_D_BIND, KVRN_NOSESSION);
    const int result = link->init(version, link, prim, sess, keys, files, opts);
    return result == KVRN_DONE || result == KVRN_ENDED ? result : KVRN_FAILED;
}

KVERN_EXPORTED int KVRN_CALL kvrnput(KVRNSESS *sess) {
    return enter(sess, KVRN_D_PUTUSE, putcall);
}

KVERN_EXPORTED int KVRN_CALL kvrnget(KVRNSESS *sess) {
    return enter(sess, KVRN_D_GETUSE, getcall);
}

KVERN_EXPORTED int KVRN_CALL kvrnmrge(KVRNSESS *sess) {
    return enter(sess, KVRN_D_MERGEUSE, mergecall);
}

// The engine alone knows whether one of its calls is running; its refusal leaves
// the session and the table as they are.
KVERN_EXPORTED int KVRN_CALL kvrnclse(uint32_t version, KVRNLINK *link, KVRNPRIM *prim,
                                      KVRNSESS *sess) {
    if ((link == nullptr) || (prim == nullptr) || (sess == nullptr))
        return KVRN_FAILED;
    if (!versionadmitted(version))
        return refuseentry(sess, KVRN_D_VERSION);
    if ((sess->ctx == nullptr) && (link->init == nullptr))
        return refuseentry(sess, KVRN_D_NOTHINGOPEN);
    int result = KVRN_DONE;
    if (sess->ctx != nullptr) {
        if (link->term == nullptr)
            return refuseentry(sess, KVRN_D_NOTHINGOPEN);
        result = link->term(prim, sess);
        if (result == KVRN_FAILED && sess->detail == KVRN_D_NOTHINGOPEN)
            return result;
    }
    if (link->init != nullptr)
        unbindengine(link);
    sess->ctx = nullptr;
    return result;
}

KVERN_EXPORTED int KVRN_CALL kvrnkey(KVRNSESS *sess, const void *record, unsigned length, void *key,
                                     unsigned *keylen) {
    if (sess == nullptr)
        return KVRN_FAILED;
    qha5ctx *ctx = sessionof(sess);
    return ctx != nullptr ? keycall(ctx, sess, record, length, key, keylen)
                          : refuseentry(sess, KVRN_D_PUTUSE);
}

KVERN_EXPORTED int KVRN_CALL kvrntest(KVRNSESS *sess, const void *record, unsigned length) {
    if (sess == nullptr)
        return KVRN_FAILED;
    qha5ctx *ctx = sessionof(sess);
    return ctx != nullptr ? testcall(ctx, sess, record, length) : refuseentry(sess, KVRN_D_PUTUSE);
}

KVERN_EXPORTED int KVRN_CALL qha5init(uint32_t version, KVRNLINK *link, KVRNPRIM *prim,
                                      KVRNSESS *sess, KVRNKEY *keys, KVRNFILE *files,
                                      KVRNOPT *opts) {
    if ((prim == nullptr) || (sess == nullptr))
        return KVRN_FAILED;
    return runsession(version, link, prim, sess, keys, files, opts);
}

KVERN_EXPORTED int KVRN_CALL qha5chkp(KVRNSESS *sess) {
    return enter(sess, KVRN_D_PUTUSE, checkedput);
}

KVERN_EXPORTED int KVRN_CALL qha5chkg(KVRNSESS *sess) {
    return enter(sess, KVRN_D_GETUSE, checkedget);
}

KVERN_EXPORTED int KVRN_CALL qha5chkm(KVRNSESS *sess) {
    return enter(sess, KVRN_D_MERGEUSE, checkedmerge);
}

KVERN_EXPORTED int KVRN_CALL qha5term(KVRNPRIM *, KVRNSESS *sess) {
    return sess != nullptr ? endsession(sess) : KVRN_FAILED;
}

} // extern "C"
