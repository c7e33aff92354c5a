// Kind 1: plain files through descriptors, and the standard streams.  Every
// routine has the contract of its slot (file_fields.h) and refuses a record of
// another kind silently.
#pragma once

#include "session/context.h"

namespace kvern {

int32_t opendescr(qha5ctx *ctx, filectl *file);
int32_t closedescr(qha5ctx *ctx, filectl *file);
int32_t readfixeddescr(qha5ctx *ctx, filectl *file);
int32_t readlinedescr(qha5ctx *ctx, filectl *file);
int32_t writedescr(qha5ctx *ctx, filectl *file);

} // namespace kvern
