// Location of the fields of a text line: scanners by white space, by a separator, and by
// one that steps over double-byte characters (contracts: fieldscan and fieldscanlen in
// key_fields.h).  None reads at or past ctx->scanlimit.
//
// In this folder: the scanners, and room for the rows that they fill (fieldtables).  Left
// to others: what is done with a field.  In order: wirescanners and the layouts at set-up;
// fieldscan for each record that comes, fieldscanlen for one that is an internal record.
#pragma once

#include "session/context.h"

namespace kvern {

// Chooses the scanners of a session by field number.
void wirescanners(qha5ctx *ctx);

} // namespace kvern
