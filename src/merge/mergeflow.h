// Blocks between a merge driver, the selection step and the files.
#pragma once

#include "sort/record/blockrecord.h"

namespace kvern {

// How a merge driver ends: the merge stays open, has ended or has failed.
enum mergeresult : int32_t { merge_open = 0, merge_ended = 1, merge_failed = -1 };

// One selection step with inblock as it stands.  0 or -1.
[[nodiscard]] int32_t stepmerge(qha5ctx *ctx);

// An empty block for input nextinput: the one just used up, or a new one.  Null: none,
// not reported.
[[nodiscard]] blockhdr *takeinblock(qha5ctx *ctx);

// Reads the block that the selection step asks for, if it does, and steps.  0 or -1.
[[nodiscard]] int32_t stepfiles(qha5ctx *ctx);

// The output block that is ready goes to the output file.  0 or -1.
[[nodiscard]] int32_t writeoutblock(qha5ctx *ctx);

// An output block is ready that holds no record.
bool atend(const qha5ctx *ctx);
// All is out: merge_ended, or merge_failed if input was still asked for.
[[nodiscard]] int32_t endmerge(qha5ctx *ctx);

// The caller has no record from this call.
inline void shownothing(KVRNSESS *sess) {
    sess->outaddr = nullptr;
    sess->outlen = 0;
}

// The caller has the record at the block's next, which steps over it.  Of a delimiter of
// two bytes one is counted, so the next line begins with the other: intended, callers
// live with it.
template <class form>
void showrecord(const qha5ctx *ctx, blockhdr *block) {
    const recordspan record = form::show(ctx, block, 1);
    ctx->userblk->outaddr = record.bytes;
    ctx->userblk->outlen = record.length;
}

// A step has failed: the merge cannot go on.  merge_failed.
int32_t breakmerge(qha5ctx *ctx);

} // namespace kvern
