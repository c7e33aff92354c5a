// What every kind of file is asked through its file-control record.
//
// Here: opening and closing, names for messages, the codes of the system as messages
// (syserror), operations that may wait (waiting).  A folder for each family holds the
// routines of its kinds: plain, manager, indexed; file/bind gives them to a record.  In
// order: bindfile; openinput or openoutput; readfn until 0, or writefn; the close.
#pragma once

#include "session/context.h"

namespace kvern {

// The standard streams are neither opened nor closed.  0 or -1.
[[nodiscard]] int openinput(qha5ctx *ctx, filectl *file);
[[nodiscard]] int closeinput(qha5ctx *ctx, filectl *file);
[[nodiscard]] int openoutput(qha5ctx *ctx, filectl *file);
[[nodiscard]] int closeoutput(qha5ctx *ctx, filectl *file);

// The name for messages about moving data: a standard stream has none of its own,
// nor a mode, so the one who writes asks for the output's.
const char *messagename(const filectl *file);
const char *outputname(const filectl *file);

} // namespace kvern
