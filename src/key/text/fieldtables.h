// The field tables of a text session by field number: where the fields of the
// line in work lie.
#pragma once

#include "session/workspace.h"

namespace kvern {

// keyscratch, where text is prepared for an encoder.  0, or -1 with message 23.
[[nodiscard]] int layoutscratch(qha5ctx *ctx, workspace &space, uint32_t bytes, uint32_t detail);

// sumfields1 and sumfields2.  They are read until the last record is out, so a
// sort lays them out first and keeps them from its later phases.  0, or -1 with
// message 23.
[[nodiscard]] int layoutsumrows(qha5ctx *ctx, workspace &space);

// selfields, reconfields and keyfields, as far as the session needs them.  0, or
// -1 with message 23.
[[nodiscard]] int layouttables(qha5ctx *ctx, workspace &space);

// selfields and reconfields alone, each with `spare` rows behind its highest field.  0, or
// -1 with message 23.
[[nodiscard]] int layoutrows(qha5ctx *ctx, workspace &space, uint32_t spare, uint32_t detail);

} // namespace kvern
