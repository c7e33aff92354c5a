// The mark of a running engine call.  Handlers and hooks run inside such calls;
// a record call or a close from there would move or free what the call uses, so
// these are refused while the mark stands.
#pragma once

#include "session/context.h"

namespace kvern {

// The session of a caller's block; null: none.
inline qha5ctx *sessionof(const KVRNSESS *sess) {
    return sess ? static_cast<qha5ctx *>(sess->ctx) : nullptr;
}

class busymark {
  public:
    explicit busymark(qha5ctx *ctx) : ctx_(ctx) { ctx_->busy = 1; }
    ~busymark() { ctx_->busy = 0; }
    busymark(const busymark &) = delete;
    busymark &operator=(const busymark &) = delete;

  private:
    qha5ctx *ctx_;
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
