// The checked forms of the record calls: each tests whether the session's place
// allows the call, then passes on to the plain form.  A refusal counts as the
// session's failure, so that every later checked call is refused too.
#pragma once

#include "session/context.h"

namespace kvern {

[[nodiscard]] int checkedput(qha5ctx *ctx, KVRNSESS *sess);
[[nodiscard]] int checkedget(qha5ctx *ctx, KVRNSESS *sess);
[[nodiscard]] int checkedmerge(qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
