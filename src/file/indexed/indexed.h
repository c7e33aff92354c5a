// Indexed files: inputs are asked what they are while the session is set up, the keys
// of an output are as the caller describes them.
//
// Here: what such a file's head says (idxformat, idxreader), as an idxinfo, and the keys
// of a new one.  Left to others: its records, which the file manager moves
// (file/manager).  In order: describeindexed for each input as the list of files is
// built; buildoutkeys when the output is opened.
#pragma once

#include "session/context.h"

namespace kvern {

// Reads the description of an indexed input, one of `filecount` inputs; `number`
// of them were described before.  0, or -1 with message 75 out behind what told
// the cause, or with message 23.
[[nodiscard]] int describeindexed(qha5ctx *ctx, filectl *file, uint32_t number, uint32_t filecount);

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
