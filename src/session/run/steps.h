// The steps on a session's road, in their order: storage, input, merge, output.
#pragma once

#include "session/run/run.h"

namespace kvern {

// The two allocations of a session, the context and the work area: creates both; *out is the
// context as soon as it exists, also when the rest fails (sess->ctx shows it, the close frees it).
// 0; 1 when the session was asked to stop meanwhile; -1 with sess->detail set.
[[nodiscard]] int ctxcreate(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
                            const KVRNFILE *files, qha5ctx **out);

// Frees both.  The caller's block keeps the stale address in ctx.
void ctxrelease(const qha5ctx *ctx, KVRNSESS *sess);

// Reads all input files, beginning with putblock, and ends the input; getblock is
// the first block of the output then.  0 or -1.
[[nodiscard]] int readinputs(qha5ctx *ctx);

// Draws the output, beginning with getblock, into the output file.  0 or -1.
[[nodiscard]] int writeoutput(qha5ctx *ctx);

// What code 16 does in this session.
[[nodiscard]] callroutine chooseput(const qha5ctx *ctx);

// Sets `refusal`: the tests of a record that comes by itself.
void wirerefusal(qha5ctx *ctx);

// What a call does once the block holds records.
[[nodiscard]] callroutine chooseget(const qha5ctx *ctx);

// Sets up, opens the files and, between files, merges to the end.  0 or -1.
[[nodiscard]] int openmerge(qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
