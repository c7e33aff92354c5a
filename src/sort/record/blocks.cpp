// Record lengths are the caller's numbers, so all sums are made in 64 bits.
#include "sort/record/blocks.h"

#include "sort/record/recordform.h"

#include <algorithm>

namespace kvern {
namespace {

// What one read or write moves at most; more makes nothing faster.
constexpr uint32_t largestread = 0x100000;
constexpr uint32_t header = sizeof(blockhdr);

constexpr blockuse nouse{0, 0};

// ---- by record form ---------------------------------------------------------

blockuse fixeduse(const qha5ctx *ctx, uint64_t room) {
    if (ctx->inreclen == 0 || ctx->outreclen == 0 || room < ctx->inreclen || room < ctx->outreclen)
        return nouse;
    return {rounddown(room, ctx->inreclen), rounddown(room, ctx->outreclen)};
}

blockuse variableuse(const qha5ctx *ctx, uint64_t room) {
    const uint64_t longest = std::max(ctx->inreclen, ctx->outreclen);
    return longest + lengthword > room ? nouse : blockuse{room, room};
}

blockuse textuse(const qha5ctx *ctx, uint64_t room) {
    const bool fits = uint64_t{ctx->inreclen} * 2 <= room && ctx->outreclen <= room;
    return fits ? blockuse{room, room} : nouse;
}

// Bytes of the longer side in whole records, rounded up; 0: a side has no room.
uint64_t fixedbytes(const qha5ctx *ctx, uint64_t room) {
    const blockuse use = fixeduse(ctx, room);
    return roundup(std::max(use.in, use.out), arenaunit);
}

// Rounding may take the block a few bytes past the room, which stays so only where
// a record less would leave none: decided, so that a record that by itself decides
// the size of the block need not be a multiple of the unit.
uint64_t fixedarea(const qha5ctx *ctx, uint64_t room) {
    const uint64_t bytes = fixedbytes(ctx, room);
    if (bytes <= room)
        return bytes;
    const uint64_t fewer = fixedbytes(ctx, rounddown(room, arenaunit));
    return fewer != 0 ? fewer : bytes;
}

uint64_t wordarea(const qha5ctx *, uint64_t room) {
    return rounddown(room, arenaunit);
}

struct formrow {
    blockuse (*use)(const qha5ctx *ctx, uint64_t room);
    uint64_t (*area)(const qha5ctx *ctx, uint64_t room); // data bytes of a block for both sides
};
constexpr formrow rows[recordforms] = {
    {fixeduse, fixedarea}, {variableuse, wordarea}, {textuse, wordarea}, {textuse, wordarea}};

// A read of lines starts behind the partial line that was left over.
uint32_t sharetext(qha5ctx *ctx, uint32_t share) {
    const uint64_t wanted =
        arenaround(roundup(ctx->inreclen, recordunit) + uint64_t{largestread} + header);
    if (wanted <= share) {
        ctx->textreadlen = largestread;
        return static_cast<uint32_t>(wanted);
    }
    const auto block = static_cast<uint32_t>(rounddown(share, arenaunit));
    const uint64_t kept = uint64_t{header} + ctx->inreclen;
    ctx->textreadlen = block > kept ? static_cast<uint32_t>(block - kept) : 0;
    return block;
}

} // namespace

blockuse useof(const qha5ctx *ctx, uint64_t room) {
    return rows[formof(ctx)].use(ctx, room);
}

void setlengths(qha5ctx *ctx, const blockuse &use) {
    ctx->inblklen = static_cast<uint32_t>(use.in);
    ctx->outblklen = static_cast<uint32_t>(use.out);
}

blocklengths lengthsfor(const qha5ctx *ctx, uint64_t wanted) {
    const uint64_t room = wanted > header ? wanted - header : 0;
    const uint64_t area = rows[formof(ctx)].area(ctx, room);
    const blockuse use = useof(ctx, area);
    if (use.in == 0)
        return {0, nouse, 0};
    return {area + header, use, istext(ctx) ? area - ctx->inreclen : 0};
}

uint32_t shareblocks(qha5ctx *ctx, uint32_t left, uint32_t blocks) {
    const uint32_t share = left / blocks;
    if (istext(ctx))
        return sharetext(ctx, share);
    return static_cast<uint32_t>(rounddown(std::min(share, largestread + header), arenaunit));
}

blockhdr *layblock(uint8_t *at, uint32_t usable) {
    auto *block = reinterpret_cast<blockhdr *>(at);
    *block = blockhdr{};
    block->state = bs_free;
    block->first = block->next = block->limit = at + header;
    block->end = block->first + usable;
    return block;
}

bool layoutcarry(qha5ctx *ctx, workspace &space, uint32_t inputs) {
    if (!istext(ctx))
        return true;
    const uint64_t line = roundup(ctx->inreclen, recordunit);
    uint8_t *table = space.take((sizeof(carryentry) + line) * inputs);
    if (table == nullptr)
        return false;
    ctx->carrytab = reinterpret_cast<carryentry *>(table);
    uint8_t *lines = table + sizeof(carryentry) * inputs;
    for (uint32_t i = 0; i < inputs; i++)
        ctx->carrytab[i] = {0, lines + line * i};
    return true;
}

} // namespace kvern
