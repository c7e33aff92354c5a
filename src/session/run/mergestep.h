// A merge as the session sees it: its start and each step of one with caller input or
// output.
#pragma once

#include "session/context.h"

namespace kvern {

// Sets up, opens the files and, between files, merges to the end.  0 or -1.
[[nodiscard]] int openmerge(qha5ctx *ctx, KVRNSESS *sess);

// kvrnmrge without order checks: the merge routine's result, with sess->detail
// set on -1.
[[nodiscard]] int mergecall(qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
