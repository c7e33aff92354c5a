// Lengths of a caller block, by record form.  Input and output use one buffer.
//
//   fixed      whole records of each length, so that none straddles two blocks
//   variable   any number of records; the longest fits with its length word
//   text       a line left over from the last read, and room to read another
//
// Record lengths are the caller's numbers, so all sums are made in 64 bits.
#include "sort/record/blocksize.h"

#include "session/arena.h"
#include "sort/record/recordform.h"

#include <algorithm>

namespace kvern {
namespace {

constexpr uint64_t header = sizeof(blockhdr);
constexpr uint64_t unit = alignof(void *); // what follows a block is aligned again

constexpr blocklengths none{0, 0, 0, 0};

constexpr uint64_t rounddown(uint64_t bytes, uint64_t to) {
    return bytes / to * to;
}

blocklengths variablelengths(const qha5ctx *ctx, uint64_t room) {
    const uint64_t usable = rounddown(room, unit);
    if (std::max(ctx->inreclen, ctx->outreclen) + lengthword > usable)
        return none;
    return {usable + header, usable, usable, 0};
}

blocklengths textlengths(const qha5ctx *ctx, uint64_t room) {
    const uint64_t usable = rounddown(room, unit);
    if (uint64_t{ctx->inreclen} * 2 > usable || ctx->outreclen > usable)
        return none;
    return {usable + header, usable, usable, usable - ctx->inreclen};
}

// Bytes of the longer side in whole records, rounded up; 0: a side has no room.
uint64_t fixedbytes(const qha5ctx *ctx, uint64_t room) {
    const uint64_t in = rounddown(room, ctx->inreclen);
    const uint64_t out = rounddown(room, ctx->outreclen);
    return in == 0 || out == 0 ? 0 : roundup(std::max(in, out), unit);
}

blocklengths fixedlengths(const qha5ctx *ctx, uint64_t room) {
    if (ctx->inreclen == 0 || ctx->outreclen == 0)
        return none;
    uint64_t bytes = fixedbytes(ctx, room);
    if (bytes == 0)
        return none;
    // Rounding may take the block a few bytes past the room, which stays so only where
    // a record less would leave none: decided, so that a record that by itself decides
    // the size of the block need not be a multiple of the unit.
    if (bytes > room)
        if (const uint64_t fewer = fixedbytes(ctx, rounddown(room, unit)); fewer != 0)
            bytes = fewer;
    return {bytes + header, rounddown(bytes, ctx->inreclen), rounddown(bytes, ctx->outreclen), 0};
}

struct formrow {
    uint8_t recform;
    blocklengths (*lengths)(const qha5ctx *ctx, uint64_t room);
};
constexpr formrow forms[] = {{'f', fixedlengths}, {'v', variablelengths}, {'r', textlengths}};

} // namespace

blocklengths lengthsfor(const qha5ctx *ctx, uint64_t wanted) {
    if (wanted <= header)
        return none;
    for (const formrow &form : forms)
        if (form.recform == ctx->recform)
            return form.lengths(ctx, wanted - header);
    return none;
}

} // namespace kvern
