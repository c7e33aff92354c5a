// What the caller's blocks ask for, checked in a fixed order, the first fault
// reported, and kept in the arena.
//
// Here: every test of a caller's value, and the record geometry that follows from
// them.  Left to others: the rows of the key table (key), the routines of a file
// (file/bind), all that a set-up chooses.  In order: findplaces, while the work area is
// made; analyse, which takes each block by itself; crosscheck, which looks at the whole.
// Nothing here is written after it.
#pragma once

#include "session/context.h"

namespace kvern {

// Looks for a text of directories in the caller's list of work files, the text
// deposited by kvrntmpd, the environment and the system, and cuts it up into
// ctx->workpaths at the head of the arena.  0 also when there is none; -1 with
// sess->detail set, without a message (detail stays as it is when only the table
// of pointers had no room).
[[nodiscard]] int findplaces(qha5ctx *ctx, KVRNSESS *sess, const KVRNFILE *files);

// Options, files and field tables, ending in the wired key table.  keys, files
// and opts may be null.  0, or -1 with the message out (an unknown input file
// kind is -1 without one).
[[nodiscard]] int analyse(qha5ctx *ctx, KVRNPRIM *prim, const KVRNKEY *keys, const KVRNFILE *files,
                          const KVRNOPT *opts);

// Looks at the session as a whole: files against record form and lengths, options
// against each other, field positions against the record; settles the record geometry
// and binds the files.
[[nodiscard]] int crosscheck(qha5ctx *ctx);

} // namespace kvern
