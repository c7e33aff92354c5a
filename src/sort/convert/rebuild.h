// The `encode` routines of a session with a reconstruction table.
#pragma once

#include "session/context.h"

namespace kvern {

using encoderoutine = decltype(sort_fields::encode);

// Sort and merge make an internal record of the rebuilt record; a copy gets the
// rebuilt record itself, text with its delimiter and its length in reconlen.
[[nodiscard]] encoderoutine chooserebuild(const qha5ctx *ctx);

// The steps of a rebuild.  Both tests: false after reporting.
[[nodiscard]] bool holdspieces(qha5ctx *ctx, uint32_t length); // data of a variable record
[[nodiscard]] bool lineholds(qha5ctx *ctx, uint32_t length);   // text by columns
void joinpieces(const KVRNRCN &pieces, const uint8_t *record, uint8_t *out);
// Text by fields, with the rows of the new line where keys ask for them: finds the fields
// of `raw` for *length, its text without the delimiter; then the rebuilt text, zeros behind
// it up to textroom, and its length.  -1 after reporting.
[[nodiscard]] bool findpieces(qha5ctx *ctx, const uint8_t *raw, uint32_t *length);
[[nodiscard]] int32_t joinline(qha5ctx *ctx, const uint8_t *raw, uint8_t *text);
// Text of a rebuilt line at most.
inline uint32_t textroom(const qha5ctx *ctx) {
    return ctx->outreclen - ctx->linedlmtlen;
}

} // namespace kvern
