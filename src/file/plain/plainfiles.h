// Plain files.  Every routine has the contract of its slot (file_fields.h) and refuses
// a record of another kind silently.
//
// Here: fixed records and lines from a file into blocks that end behind a whole record
// (linesplit), and back.  Left to others: codes of the system as messages (file/syserror),
// variable records, which no plain file holds.
#pragma once

#include "session/context.h"

namespace kvern {

// Kind 1: through descriptors, and the standard streams.
int32_t opendescr(qha5ctx *ctx, filectl *file);
int32_t closedescr(qha5ctx *ctx, filectl *file);
int32_t descrrecords(qha5ctx *ctx, filectl *file);
int32_t descrlines(qha5ctx *ctx, filectl *file);
int32_t writedescr(qha5ctx *ctx, filectl *file);

// Kind 16: through system handles.
int32_t openhandle(qha5ctx *ctx, filectl *file);
int32_t closehandle(qha5ctx *ctx, filectl *file);
int32_t handlerecords(qha5ctx *ctx, filectl *file);
int32_t handlelines(qha5ctx *ctx, filectl *file);
int32_t writehandle(qha5ctx *ctx, filectl *file);

} // namespace kvern
