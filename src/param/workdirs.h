// The directories in which a sort may make temporary files.
#pragma once

#include "session/context.h"

namespace kvern {

// Looks for a text of directories in the caller's list of work files, the text
// deposited by kvrntmpd, the environment and the system, and cuts it up into
// ctx->workpaths at the head of the arena.  0 also when there is none; -1 with
// sess->detail set, without a message (detail stays as it is when only the table
// of pointers had no room).
[[nodiscard]] int findplaces(qha5ctx *ctx, KVRNSESS *sess, const KVRNFILE *files);

// Cuts the text at ctx->arenanext into directories; results as above.
[[nodiscard]] int cutplaces(qha5ctx *ctx, KVRNSESS *sess);

} // namespace kvern
