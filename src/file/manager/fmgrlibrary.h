// The file manager's library and its session: one of each for a session of ours,
// however many files the manager keeps.
//
// In this folder: the library (fmgrapi, fmgrlibrary), a request and its reply (fmgrcall),
// the routines of kinds 2, 18 and 19 in terms of requests (fmgrio).  Nothing here knows
// how the manager keeps a record.  In order: fmgrstart between analysis and cross-checks;
// the files' routines; fmgrfail where a session has failed; fmgrstop after the closes.
#pragma once

#include "session/context.h"

namespace kvern {

// Loads the library and starts its session; every file of the manager gets the
// functions.  0, or -1: message 75, or 23 when the storage is too small.
[[nodiscard]] int fmgrstart(qha5ctx *ctx);

// Ends the session, if it runs, and unloads the library, whatever comes of it.  0,
// or -1 with message 75.  Needs fmgrmodule.
[[nodiscard]] int fmgrstop(qha5ctx *ctx);

// Tells the manager that the session has failed or was stopped, before files are closed
// as they are after a success.  Nothing, as often as it is told, where no session
// runs or the manager does not want to know.
void fmgrfail(const qha5ctx *ctx);

// Message 75 of the file manager; -1.
int failmanager(qha5ctx *ctx);

} // namespace kvern
