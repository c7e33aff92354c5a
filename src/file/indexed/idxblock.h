// The file under both steps of the reader of indexed files.  Works on
// idxinfos[idxcur] and, while the file is open, on idxhandle.
#pragma once

#include "file/syserror.h"
#include "session/context.h"
#include "session/qha9msgt.h"

namespace kvern {

// Reads block `number` to idxblock; what the file lacks of it is zero.  0, or -1
// with the message out.
[[nodiscard]] int idxreadblock(qha5ctx *ctx, const filectl *file, uint32_t number);

// Reports with the file's name and what the system said last.  -1.
int idxrefuse(qha5ctx *ctx, const filectl *file, msgno message, uint32_t detail);
int idxtorn(qha5ctx *ctx, const filectl *file);

// Reports a failed operation on the file.  -1.
int idxfail(qha5ctx *ctx, const filectl *file, platform::syserror code, fileop operation);

} // namespace kvern
