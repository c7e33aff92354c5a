// The road of a session, for the calls that drive it.
//
// Here: a session's two allocations, the order of its stages, records and blocks on
// their way between the caller, the files and the sort, and its end.  Left to others:
// what the caller's blocks mean (param), what becomes of records (sort, merge), how
// bytes move (file).  Whether a call is due was tested above (session/call).
//
//   runsession    context, work area, analysis, cross-checks, then the function's arm
//   putcall       until it ends the input; then getcall until it gives 1
//   mergecall     instead of both, until it gives 1
//   keycall, testcall   anywhere in between, until the input of a sort has ended
//   endsession    once, whatever happened
#pragma once

#include "session/context.h"

namespace kvern {

// qha5init: 0; 1 stopped; -1 with sess->detail set.
[[nodiscard]] int runsession(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
                             const KVRNKEY *keys, const KVRNFILE *files, const KVRNOPT *opts);

using callroutine = int (*)(qha5ctx *ctx, KVRNSESS *sess);

// kvrnput without order checks: 0 taken, 1 input ended, -1 failed.
[[nodiscard]] int putcall(qha5ctx *ctx, KVRNSESS *sess);

// kvrnget without order checks: 0 a record or block, 1 end of data, -1 failed.
[[nodiscard]] int getcall(qha5ctx *ctx, KVRNSESS *sess);

// kvrnmrge without order checks: the merge routine's result, with sess->detail
// set on -1.
[[nodiscard]] int mergecall(qha5ctx *ctx, KVRNSESS *sess);

// kvrnkey and kvrntest: 0; 1 the filter drops the record; -1 with sess->detail set, and
// nothing else.
[[nodiscard]] int keycall(qha5ctx *ctx, KVRNSESS *sess, const void *record, uint32_t length,
                          void *key, unsigned *keylen);
[[nodiscard]] int testcall(qha5ctx *ctx, KVRNSESS *sess, const void *record, uint32_t length);

// qha5term: 0 clean, or failed on the way; 1 closed early; -1 failure.  Frees the
// context, save after detail 223 (another block's session) and 104 (a call of the
// session is running).
[[nodiscard]] int endsession(KVRNSESS *sess);

} // namespace kvern
