// Kind 16: plain files through system handles.  Every routine has the contract
// of its slot (file_fields.h) and refuses a record of another kind silently.
#pragma once

#include "session/context.h"

namespace kvern {

int32_t openhandle(qha5ctx *ctx, filectl *file);
int32_t closehandle(qha5ctx *ctx, filectl *file);
int32_t readfixedhandle(qha5ctx *ctx, filectl *file);
int32_t readlinehandle(qha5ctx *ctx, filectl *file);
int32_t writehandle(qha5ctx *ctx, filectl *file);

} // namespace kvern
