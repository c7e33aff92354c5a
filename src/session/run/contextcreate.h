// Creation and release of a session's two allocations: the context and the work
// area.
#pragma once

#include "session/context.h"

namespace kvern {

// Creates both; *out is the context as soon as it exists, also when the rest
// fails (sess->ctx shows it, the close frees it).  0; 1 when the session was
// asked to stop meanwhile; -1 with sess->detail set.
[[nodiscard]] int ctxcreate(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
                            const KVRNFILE *files, qha5ctx **out);

// Frees both.  The caller's block keeps the stale address in ctx.
void ctxrelease(const qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
