// The session's two allocations.  The C library's allocator is used rather than
// pages of our own, since memory checkers watch it.
#include "platform/platform.h"

#include <cstdlib>

namespace kvern::platform {

bool takememory(uint32_t bytes, memory *out) {
    out->address = calloc(1, bytes);
    out->handle = out->address;
    return out->address != nullptr;
}

void freememory(const memory &taken, uint32_t) {
    free(taken.address);
}

// The limit belongs to the host program; the usual one is far above our need.
void wantmanyfiles() {}

} // namespace kvern::platform
