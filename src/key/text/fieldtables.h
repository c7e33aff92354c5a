// The field tables of a text session by field number: where the fields of the
// line in work lie.
#pragma once

#include "session/workspace.h"

namespace kvern {

// sumfields1 and sumfields2.  They are read until the last record is out, so a
// sort lays them out first and keeps them from its later phases.  0, or -1 with
// message 23.
[[nodiscard]] int layoutsumtables(qha5ctx *ctx, workspace &space);

// selfields, reconfields and keyfields, as far as the session needs them.  0, or
// -1 with message 23.
[[nodiscard]] int layoutfieldtables(qha5ctx *ctx, workspace &space);

} // namespace kvern
