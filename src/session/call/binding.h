// Between the public calls and an engine: the version gate and the five entry
// points, found by name in the library that the installation names, by default
// this one.
#pragma once

#include "kvern.h"

namespace kvern {

[[nodiscard]] bool versionadmitted(uint32_t version);

// Fills the table.  False when the library or an entry point is missing; the
// table may be filled in part then, and unbindengine undoes it.
[[nodiscard]] bool bindengine(KVRNLINK *link);

// Lets the library go and empties the table.
void unbindengine(KVRNLINK *link);

} // namespace kvern
