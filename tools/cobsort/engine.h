// The engine's library, which is loaded where the first session is wanted: small sorts, and
// programs that the library is loaded into for nothing, start without it.
#pragma once

namespace cobsort {

// False: it is not to be had.  Ahead of the first session.
bool loadengine();

} // namespace cobsort
