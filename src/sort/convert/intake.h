// Raw records to internal records and back.
//
// Here: the eight `encode` routines by record form (intake, rebuild), the way out
// (emit), the walk over the key table that both end in (rowrun.h), and the key alone of a
// record that stays outside (probe).  Left to others: what a row of the table does
// (key/encode), where a record ends in its block (sort/record).  A set-up calls wireencode,
// wireprobe and layoutwork, and before records go out wireemit or chooseplain.
#pragma once

#include "session/workspace.h"

namespace kvern {

// Sets `encode` by the session's record form, field mode and reconstruction.
void wireencode(qha5ctx *ctx);
// Work areas of an encode, recwork and keyscratch.  0, or -1 with message 23.
[[nodiscard]] int layoutwork(qha5ctx *ctx, workspace &space);

} // namespace kvern
