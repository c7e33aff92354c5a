// The session's two allocations: moveable, zero-filled, locked for as long as
// they live.
#include "platform/win32/win32_system.h"

namespace kvern::platform {

bool takememory(uint32_t bytes, memory *out) {
    *out = {};
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, bytes);
    if (block == nullptr)
        return false;
    void *address = GlobalLock(block);
    if (address == nullptr) {
        GlobalFree(block);
        return false;
    }
    *out = {block, address};
    return true;
}

void freememory(const memory &taken, uint32_t) {
    GlobalUnlock(taken.handle);
    GlobalFree(taken.handle);
}

void wantmanyfiles() {
    (void)SetHandleCount(255);
}

} // namespace kvern::platform
