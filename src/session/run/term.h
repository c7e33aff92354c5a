// The end of a session.
#pragma once

#include "session/context.h"

namespace kvern {

// qha5term: 0 clean, or failed on the way; 1 closed early; -1 failure.  Frees the
// context, save after detail 223 (another block's session) and 104 (a call of the
// session is running).
[[nodiscard]] int endsession(KVRNSESS *sess);

} // namespace kvern
