// The session's two allocations.  The C library's allocator is used rather than
// pages of our own, since memory checkers watch it.
#include "platform/platform.h"

#include <cstdlib>
#include <sys/mman.h>

namespace kvern::platform {

namespace {

// A sort touches all of its working storage at once; huge pages, where the system
// has them for the asking, save a page fault for every 4 KB of it.  Advice only.
void askhugepages(void *address, size_t bytes) {
    constexpr uintptr_t hugepage = 2U << 20;
    const uintptr_t start = reinterpret_cast<uintptr_t>(address);
    const uintptr_t first = (start + hugepage - 1) / hugepage * hugepage;
    const uintptr_t last = (start + bytes) / hugepage * hugepage;
    if (first < last)
        (void)madvise(reinterpret_cast<void *>(first), last - first, MADV_HUGEPAGE);
}

} // namespace

bool takememory(uint32_t bytes, memory *out) {
    out->address = calloc(1, bytes);
    out->handle = out->address;
    if (out->address == nullptr)
        return false;
    askhugepages(out->address, bytes);
    return true;
}

void freememory(const memory &taken, uint32_t) {
    free(taken.address);
}

// The limit belongs to the host program; the usual one is far above our need.
void wantmanyfiles() {}

} // namespace kvern::platform
