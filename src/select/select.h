// The record filter: a small program of conditions, run over each input record as
// it lies in its block, before anything else is done with it.
//
// Here: jumps from condition to condition (program), operands of one length (operands,
// widening), which encoder makes them comparable (comparators).  Left to others: the
// encoders (key/encode), fields of a line (key/text), whether a condition fits the
// records (param).
//
// A set-up calls chooseselect when selectopt is 1, and lays out the operand
// buffers; text by field numbers needs selfields and the scanners as well
// (key/text).  Before records of a block are tested, ctx->scanlimit is the block's
// limit.
#pragma once

#include "session/context.h"

namespace kvern {

// Sets selecteval and selectalone by the session's record form.
void chooseselect(qha5ctx *ctx);

// Bytes of both operand buffers.
inline uint64_t operandroom(const qha5ctx *ctx) {
    return uint64_t{ctx->selmaxlen} * 4;
}

// selbufl and selbufr over an area of operandroom bytes, which need not be cleared.
void layoutoperands(qha5ctx *ctx, uint8_t *area);

// Steps over the block's next record if it is dropped: its bytes then, 0 when it is kept,
// -1 failed.  The block's count is the caller's.
inline int32_t dropnext(qha5ctx *ctx, blockhdr *block) {
    const int32_t bytes = ctx->selecteval(ctx, block->next);
    if (bytes > 0) {
        ++ctx->selectcount;
        block->next += bytes;
    }
    return bytes;
}

} // namespace kvern
