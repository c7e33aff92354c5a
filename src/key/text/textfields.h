// Location of the fields of a text line: six scanners (contracts: fieldscan and
// fieldscanlen in key_fields.h).  None reads at or past ctx->scanlimit.
#pragma once

#include "session/context.h"

namespace kvern {

int32_t fields_ws(qha5ctx *ctx, const uint8_t *line, fieldrow *table, uint32_t maxfield);
int32_t fields_sep(qha5ctx *ctx, const uint8_t *line, fieldrow *table, uint32_t maxfield);
int32_t fields_dbcs(qha5ctx *ctx, const uint8_t *line, fieldrow *table, uint32_t maxfield);
int32_t fieldslen_ws(qha5ctx *ctx, const uint8_t *line, fieldaddr *table, uint32_t maxfield,
                     uint32_t length);
int32_t fieldslen_sep(qha5ctx *ctx, const uint8_t *line, fieldaddr *table, uint32_t maxfield,
                      uint32_t length);
int32_t fieldslen_dbcs(qha5ctx *ctx, const uint8_t *line, fieldaddr *table, uint32_t maxfield,
                       uint32_t length);

// Chooses the scanners of a session by field number.
void wirescanners(qha5ctx *ctx);

} // namespace kvern
