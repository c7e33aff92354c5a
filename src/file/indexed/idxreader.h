// What an indexed input says about itself, read from the file while the session
// is set up: its records all come through the file manager, but the manager
// wants to be told the record lengths and keys when it opens the file.
//
// In order, for each such input: idxinfos[idxcur] and idxhdr are taken, zeroed;
// idxreadhdr; idxentry and idxblock are taken; idxreadkeys.  Who leaves between
// the two calls closes.
#pragma once

#include "file/indexed/idxinfo.h"
#include "session/context.h"

namespace kvern {

// Reads and checks the header.  0, and the file stays open; or -1 with the
// message out, none for a record of another kind.
[[nodiscard]] int idxreadhdr(qha5ctx *ctx, filectl *file);

// Reads the key definition blocks and closes the file.  0, or -1 with the message
// out, none where the chain of blocks ends before the last key.
[[nodiscard]] int idxreadkeys(qha5ctx *ctx, filectl *file);

// Bytes of a block of the file.
[[nodiscard]] inline uint32_t idxblocksize(const idxinfo &info) {
    return (info.hdrflags & 1) == 0 ? info.blocksize : info.altblocksize;
}

// Closes the file; a failure is told and has no other effect.
void idxclose(qha5ctx *ctx, const filectl *file);

} // namespace kvern
