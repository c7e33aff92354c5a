// Location of the fields of a text line: scanners by white space, by a separator, and by
// one that steps over double-byte characters (contracts: fieldscan and fieldscanlen in
// key_fields.h).  None reads at or past ctx->scanlimit.
#pragma once

#include "session/context.h"

namespace kvern {

// Chooses the scanners of a session by field number.
void wirescanners(qha5ctx *ctx);

} // namespace kvern
