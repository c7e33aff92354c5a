// The road of a session from the caller's blocks to the point where the caller
// must act, or to the end.
#pragma once

#include "session/context.h"

namespace kvern {

// qha5init: 0; 1 stopped; -1 with sess->detail set.
[[nodiscard]] int runsession(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
                             const KVRNKEY *keys, const KVRNFILE *files, const KVRNOPT *opts);

} // namespace kvern
