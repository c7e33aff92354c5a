// The keys of an indexed output, as the caller describes them.
#pragma once

#include "session/context.h"

namespace kvern {

// What the file manager is told when it makes the file.
struct idxoutkeys {
    const uint8_t *parts; // key parts (idxinfo.h) in keyspecbuf
    uint32_t bytes;       // of them
    uint8_t indexattr[2]; // each 1 or 2
};

// Checks the description and turns it into key parts.  0, or -1 with message 15,
// detail KVRN_D_FILEMANAGER.
[[nodiscard]] int buildoutkeys(qha5ctx *ctx, const filectl *file, idxoutkeys *out);

} // namespace kvern
