// The step of a merge with caller input or output.
#pragma once

#include "session/context.h"

namespace kvern {

// kvrnmrge without order checks: the merge routine's result, with sess->detail
// set on -1.
[[nodiscard]] int mergecall(qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
