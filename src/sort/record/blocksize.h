// How long a caller block is, and how much of it input and output use.
#pragma once

#include "session/context.h"

namespace kvern {

struct blocklengths {
    uint64_t block; // header and data area; 0: no block holds a record
    uint64_t inblklen, outblklen;
    uint64_t textreadlen; // text: bytes of one read, so that a kept partial line fits in front
};

// The lengths for a block of at most `wanted` bytes.
[[nodiscard]] blocklengths lengthsfor(const qha5ctx *ctx, uint64_t wanted);

} // namespace kvern
