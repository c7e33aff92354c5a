// The one reporting routine.  Who fails reports, once, and returns -1; callers
// pass that on and say nothing.
#pragma once

#include "session/context.h"

namespace kvern {

constexpr uint32_t msgrows = 93;
constexpr int lv_failure = 2;        // every failure
constexpr uint32_t statpoint = 1000; // row + 1000: a statistics point, prints nothing

// Records the failure (errdetail keeps the first non-zero detail) and prints the
// message if the settings allow it.  Uses the argument slots as they stand.
void report(qha5ctx *ctx, uint32_t detail, uint32_t msgno, int level);

// Fill the argument slots of the next report.
void setargs(qha5ctx *ctx);
void setargs(qha5ctx *ctx, msgarg first);
void setargs(qha5ctx *ctx, msgarg first, msgarg second);

// Report at level 2 and return -1, to be passed on.  failstale leaves the
// arguments of the last report in place; the others set them.
int failstale(qha5ctx *ctx, uint32_t msgno, uint32_t detail);
int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail);
int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail, const char *first);
int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail, uint32_t first);
int fail(qha5ctx *ctx, uint32_t msgno, uint32_t detail, const char *first, uint32_t second);

// Message 43, detail 250: an internal inconsistency.
int faillogic(qha5ctx *ctx);

} // namespace kvern
