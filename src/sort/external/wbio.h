// Work blocks on their way to and from the temporary files.
//
// Each routine that can fail returns -1 or null after the report, unless the
// session was stopped: then nothing is reported and the block is in no queue.
#pragma once

#include "session/context.h"

namespace kvern {

// Gives the block the place of a WB and the number of records or entries there.
inline void loadplace(blockhdr *wb, tempfile *file, platform::filepos place, uint32_t count) {
    wb->file = file;
    wb->filepos = place;
    wb->count = count;
}

// Issue an operation at the block's place; state and result (`iostat`) are the
// block's, which then waits in `ioqueue`.  A read that fails waits there too, until the
// block comes due; a write that fails for good is a failure here, and what it may leave
// in `iostat` is that there was no room.
[[nodiscard]] int readwb(qha5ctx *ctx, blockhdr *wb);
[[nodiscard]] int writewb(qha5ctx *ctx, blockhdr *wb);
// Gives the block the next place on the active file and writes it there.
[[nodiscard]] int appendwb(qha5ctx *ctx, blockhdr *wb);

// Takes this block out of `ioqueue`; null when it is not there.
blockhdr *takedone(qha5ctx *ctx, const blockhdr *wb);
// Takes all of `ioqueue`, a chain with the oldest block first.
blockhdr *takequeue(qha5ctx *ctx);

// A free block, for index entries.
[[nodiscard]] blockhdr *freewb(qha5ctx *ctx);
// The next block of all as it was left: the result of its write may be unsettled.
[[nodiscard]] blockhdr *takefree(qha5ctx *ctx);
// The block, empty.
blockhdr *cleared(blockhdr *wb);
// Back to the tail of `freewbs`, idle.
void returnwb(qha5ctx *ctx, blockhdr *wb);
// The blocks of `freewbs` all lie idle.
[[nodiscard]] bool allidle(const qha5ctx *ctx);

// Writes to a new place, on another file if need be, and waits.
[[nodiscard]] int writewbsync(qha5ctx *ctx, blockhdr *wb);
// Writes over a place that was read, where there is always room; the block is idle then.
[[nodiscard]] int overwritewb(qha5ctx *ctx, blockhdr *wb);
// Reads the block's place and waits.
[[nodiscard]] int readwbsync(qha5ctx *ctx, blockhdr *wb);
// After a write that found no room (taken out of the queue): issues it again on
// another file.
[[nodiscard]] int rehome(qha5ctx *ctx, blockhdr *wb);
// Issues the write of a block again and again until a file had room; the block
// ends outside the queue.
[[nodiscard]] int settlewrite(qha5ctx *ctx, blockhdr *wb);

} // namespace kvern
