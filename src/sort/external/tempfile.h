// A temporary file of the session, as long as the session lives.
#pragma once

#include "platform/platform.h"

#include <cstdint>

namespace kvern {

enum filestate : uint8_t {
    fs_full = 1,   // a write found no room: no new block goes here
    fs_open = 'i', // takes new blocks
    fs_left = 'f'  // left alone since the final merge began
};

// Carved out of tfrecnext and never released.  A generated path lies behind its
// record; a given one is the caller's copy in the arena.
struct tempfile {
    tempfile *link;              // next record of `tempfiles`, newest first
    const char *path;            // null where a list of paths has a hole
    uint32_t dirindex;           // position in the list of work directories
    platform::filehandle handle; // the open file
    platform::filepos size;      // where the next WB goes; a multiple of wbsize
    uint8_t deleteit;            // 1: goes at the end of the session
    uint8_t hidden;              // 1: its name is off the disk already
    filestate state;
    uint32_t reads, writes; // WBs moved
};

struct qha5ctx;

// Creates the next temporary file and makes it the newest of `tempfiles`.
//   0  created
//   1  this candidate failed, another may work; reported, with a detail code only where
//      it was the session's first
//  -1  no candidate is left; reported
[[nodiscard]] int newtemp(qha5ctx *ctx);

// The newest file that takes blocks; null after message 43.
[[nodiscard]] tempfile *activetemp(qha5ctx *ctx);

// Closes all temporary files, deletes those that are to go and forgets them all.
// -1: the clean-up itself was the session's first failure.
[[nodiscard]] int deletetemps(qha5ctx *ctx);

} // namespace kvern
