// The one reporting routine.  Who fails reports, once, and returns -1; callers
// pass that on and say nothing.
#pragma once

#include "session/context.h"
#include "session/qha9msgt.h"

namespace kvern {

// Print levels: of one report, of every failure, and of the statistics points.
enum : int {
    lv_least = 1,
    lv_failure = 2,
    lv_summary = 3,
    lv_perfile = 4,
    lv_resources = 5,
    lv_inner = 6
};

// Records the failure (errdetail keeps the first non-zero detail) and prints the
// message if the settings allow it.  Uses the argument slots as they stand.
void report(qha5ctx *ctx, uint32_t detail, msgno message, int level);

// Fill the argument slots of the next report.
void setargs(qha5ctx *ctx);
void setargs(qha5ctx *ctx, msgarg first);
void setargs(qha5ctx *ctx, msgarg first, msgarg second);
void setargs(qha5ctx *ctx, msgarg first, msgarg second, msgarg third);

// A statistics point: its row's arguments stand in the slots from here on, where a report
// that leaves them in place shows them.  Prints nothing at any level; without values the
// slots stay as they are.
void point(qha5ctx *ctx, msgno row, int level);
template <class... values>
void point(qha5ctx *ctx, msgno row, int level, values... given) {
    setargs(ctx, msgarg::of(given)...);
    point(ctx, row, level);
}

// What the system told, for the messages and for whoever asks; 0: it was got round.
inline uint32_t notesyscode(qha5ctx *ctx, uint32_t code) {
    return ctx->errnum = code;
}
// What KVRNSESS.syserr is to tell.
inline void tellsyserr(qha5ctx *ctx, uint32_t code) {
    ctx->errno_detail = code;
}
// A failure of which no message speaks; the first detail stays.
inline void notedetail(qha5ctx *ctx, uint32_t detail) {
    if (ctx->errdetail == 0)
        ctx->errdetail = detail;
}

// Report at level 2 and return -1, to be passed on.  failstale leaves the
// arguments of the last report in place; the others set them.
int failstale(qha5ctx *ctx, msgno message, uint32_t detail);
int fail(qha5ctx *ctx, msgno message, uint32_t detail);
int fail(qha5ctx *ctx, msgno message, uint32_t detail, const char *first);
int fail(qha5ctx *ctx, msgno message, uint32_t detail, uint32_t first);
int fail(qha5ctx *ctx, msgno message, uint32_t detail, const char *first, uint32_t second);

// While it stands, a report is told to nobody but whoever asks here.  What is run for a
// record that is only looked at fails without arguments, so their count alone is kept.
class probemark {
  public:
    explicit probemark(qha5ctx *of) : ctx(of), argc(of->msgargc) {
        ctx->probing = true;
        ctx->probedetail = 0;
    }
    ~probemark() {
        ctx->probing = false;
        ctx->msgargc = argc;
    }
    probemark(const probemark &) = delete;
    probemark &operator=(const probemark &) = delete;

    uint32_t detail() const { return ctx->probedetail; }

  private:
    qha5ctx *ctx;
    uint32_t argc;
};

// Message 43, detail 250: an internal inconsistency.
int faillogic(qha5ctx *ctx);

} // namespace kvern
