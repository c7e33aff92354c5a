// The mark of a running engine call.  Handlers and hooks run inside such calls;
// a record call or a close from there would move or free what the call uses, so
// these are refused while the mark stands.
#pragma once

#include "session/context.h"

namespace kvern {

// The session of a caller's block; null: none.
inline qha5ctx *sessionof(const KVRNSESS *sess) {
    return sess != nullptr ? static_cast<qha5ctx *>(sess->ctx) : nullptr;
}

// Refuses a call that leaves the session as it is: one made while another runs, or a
// probe.  What `detail` told before is kept for the end of the call that runs, or is next.
inline int refusepassing(qha5ctx *ctx, KVRNSESS *sess, uint32_t detail) {
    if (sess == ctx->userblk) {
        if (ctx->refusedwith == 0 || sess->detail != ctx->refusedwith)
            ctx->refusedover = sess->detail;
        ctx->refusedwith = detail;
    }
    sess->detail = detail;
    return -1;
}

// The end of a call.  If it ends well and has told nothing since, `detail` is
// as the refused calls found it.
inline int endcall(qha5ctx *ctx, int result) {
    if (ctx->refusedwith != 0 && result >= 0 && ctx->userblk->detail == ctx->refusedwith)
        ctx->userblk->detail = ctx->refusedover;
    ctx->refusedwith = 0;
    return result;
}

class busymark {
  public:
    explicit busymark(qha5ctx *of) : ctx(of) { ctx->busy = true; }
    ~busymark() { ctx->busy = false; }
    busymark(const busymark &) = delete;
    busymark &operator=(const busymark &) = delete;

  private:
    qha5ctx *ctx;
};

// -1, and the reason for the caller: the first failure of the session, or the
// given detail where there is none.
inline int refusecall(const qha5ctx *ctx, KVRNSESS *sess, uint32_t otherwise) {
    sess->detail = ctx->errdetail ? ctx->errdetail : otherwise;
    return -1;
}

// -1 after a failure that is reported already (or none, after a stop).
inline int callfailed(const qha5ctx *ctx, KVRNSESS *sess) {
    sess->detail = ctx->errdetail;
    return -1;
}

} // namespace kvern
