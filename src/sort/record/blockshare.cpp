#include "sort/record/blockshare.h"

#include "sort/record/recordform.h"

#include <algorithm>

namespace kvern {
namespace {

// What one read or write moves at most; more makes nothing faster.
constexpr uint32_t largestread = 0x100000;
constexpr uint32_t header = sizeof(blockhdr);
constexpr uint32_t unit = alignof(void *); // what follows a block is aligned again

constexpr uint32_t rounddown(uint32_t bytes) {
    return bytes / unit * unit;
}

// A read of lines starts behind the partial line that was left over.
uint32_t sharetext(qha5ctx *ctx, uint32_t share) {
    const uint64_t wanted =
        arenaround(roundup(ctx->inreclen, recordunit) + uint64_t{largestread} + header);
    if (wanted <= share) {
        ctx->textreadlen = largestread;
        return static_cast<uint32_t>(wanted);
    }
    const uint32_t block = rounddown(share);
    const uint64_t kept = uint64_t{header} + ctx->inreclen;
    ctx->textreadlen = block > kept ? static_cast<uint32_t>(block - kept) : 0;
    return block;
}

} // namespace

uint32_t shareblocks(qha5ctx *ctx, uint32_t left, uint32_t blocks) {
    const uint32_t share = left / blocks;
    if (istext(ctx))
        return sharetext(ctx, share);
    return rounddown(std::min(share, largestread + header));
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

void setlengths(qha5ctx *ctx, uint64_t in, uint64_t out) {
    ctx->inblklen = static_cast<uint32_t>(in);
    ctx->outblklen = static_cast<uint32_t>(out);
}

} // namespace kvern
