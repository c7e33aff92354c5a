// The copy function: the records of all inputs, in the order read, into the one
// output file.  No key and no temporary file; records may be selected and rebuilt.
//
// Here: from block to block whole, or record by record where the filter or the
// reconstruction asks for it.  Left to others: what is kept (select) and how a record is
// rebuilt (sort/convert).  In order: setupcopy, runcopy.
#pragma once

#include "session/context.h"

namespace kvern {

// Divides what sortnext and sortfree give and chooses the routines of the run.
// 0, or -1 with the message out.
[[nodiscard]] int setupcopy(qha5ctx *ctx);

// Opens, copies and closes all files.  0 or -1; after -1 files may be open.
[[nodiscard]] int runcopy(qha5ctx *ctx);

} // namespace kvern
