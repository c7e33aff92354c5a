// Division of the working storage of a sort, front to back:
//
//   | caller block | 3 WB headers | 3 WB data areas | temporary file records |
//   | partial line of text | what setuppipeline divides: tables, buffers, slots |
//
// Later phases keep all of it but the last part.  Input fills the caller block and
// output uses it again, with an `end` that suits the length of output records.
#include "sort/sort.h"

#include "session/workspace.h"
#include "sort/external/diskimage.h"
#include "sort/external/external.h"
#include "sort/external/tempfile.h"
#include "sort/record/blocks.h"
#include "sort/steps.h"

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

constexpr uint32_t storageshare = 20; // a block takes a twentieth of the storage
// Behind the name of a directory: a separator, the longest name made by the
// system, the end.
constexpr uint32_t generatedname = platform::maxpath + 2;

// The nodes of three merge blocks, the fewest that a final merge runs with, may
// take half of the storage.  This shortens the WBs of the smallest records where
// pointers have 64 bits, and of long records rebuilt to a few bytes.
constexpr uint32_t nodeshare = 2 * 3;

// Headers side by side, data areas of `usable` bytes behind them, `spacing` apart.
// The chain runs from the last block to the first.
blockhdr *buildchain(uint8_t *at, uint32_t count, uint64_t usable, uint64_t spacing) {
    blockhdr *headers = reinterpret_cast<blockhdr *>(at);
    uint8_t *data = at + count * sizeof(blockhdr);
    blockhdr *chain = nullptr;
    for (uint32_t i = 0; i < count; i++, data += spacing) {
        blockhdr &block = headers[i];
        block = blockhdr{};
        block.state = bs_free;
        block.first = block.next = block.limit = data;
        block.end = data + usable;
        block.link = chain;
        chain = &block;
    }
    return chain;
}

// Whole internal records, as many as the caller block has room for, at least two.
uint32_t wbsizefor(const qha5ctx *ctx, uint64_t room) {
    const uint64_t most = std::max<uint64_t>(ctx->arenafree / (nodeshare * sizeof(recnode)), 2);
    const uint64_t records = std::max<uint64_t>(room / ctx->intreclen, 2);
    return static_cast<uint32_t>(std::min(records, most) * ctx->intreclen);
}

// A twentieth, unless a single record needs more.
bool buildcaller(qha5ctx *ctx, workspace &rest) {
    const uint64_t longest = std::max(ctx->inreclen, ctx->outreclen);
    const uint64_t wanted =
        std::max<uint64_t>(rest.left / storageshare, longest + sizeof(blockhdr));
    const blocklengths lengths = lengthsfor(ctx, wanted);
    uint8_t *const room = lengths.block != 0 ? rest.take(lengths.block) : nullptr;
    if (room == nullptr)
        return false;
    setlengths(ctx, lengths.use);
    ctx->textreadlen = static_cast<uint32_t>(lengths.textreadlen);

    ctx->idxentlen = idxentrylen(ctx->keylen);
    ctx->wbsize = wbsizefor(ctx, lengths.block - sizeof(blockhdr));
    ctx->freeblocks = buildchain(room, 1, lengths.use.in, lengths.block - sizeof(blockhdr));
    return true;
}

// Data areas are spaced so that index entries in them are aligned.
bool buildwork(qha5ctx *ctx, workspace &rest) {
    const uint64_t spacing = arenaround(ctx->wbsize);
    uint8_t *const room = rest.take((spacing + sizeof(blockhdr)) * workblocks);
    if (room == nullptr)
        return false;
    ctx->wbcount = workblocks;
    ctx->freewbs = buildchain(room, workblocks, ctx->wbsize, spacing);
    return true;
}

// By the longest directory name given, whichever of them will be used.
uint64_t tempbudget(const qha5ctx *ctx) {
    uint64_t record = sizeof(tempfile);
    if (ctx->workkind == 'd') {
        size_t longest = 0;
        for (uint32_t i = 0; i < ctx->workdircount; i++)
            if (ctx->workpaths[i] != nullptr)
                longest = std::max(longest, strlen(ctx->workpaths[i]));
        record += longest + generatedname;
    }
    return arenaround(record) * tempfileroom;
}

bool reservetemps(qha5ctx *ctx, workspace &rest) {
    const uint64_t budget = tempbudget(ctx);
    ctx->tfrecroom = static_cast<uint32_t>(budget);
    ctx->tfrecnext = rest.take(budget);
    return ctx->tfrecnext != nullptr;
}

bool dividestorage(qha5ctx *ctx) {
    workspace rest = arenarest(ctx);
    if (!buildcaller(ctx, rest) || !buildwork(ctx, rest) || !reservetemps(ctx, rest) ||
        !layoutcarry(ctx, rest, 1))
        return false;
    ctx->sortnext = rest.next;
    ctx->sortfree = rest.left;
    return true;
}

void appendfree(qha5ctx *ctx, blockhdr *block) {
    blockhdr **place = &ctx->freeblocks;
    while (*place != nullptr) {
        if (*place == block && block->link == nullptr)
            return;
        place = &(*place)->link;
    }
    *place = block;
    block->link = nullptr;
}

} // namespace

blockhdr *buildblocks(qha5ctx *ctx) {
    if (!dividestorage(ctx)) {
        fail(ctx, msg_nostorage, KVRN_D_STORAGE);
        return nullptr;
    }
    if (setuppipeline(ctx) != 0 || reservespill(ctx) != 0)
        return nullptr;
    ctx->intake = chooseintake(ctx);
    ctx->deliver = choosedeliver(ctx);
    arenaleave(ctx, {ctx->sortnext, ctx->sortfree});
    ctx->freeblocks->state = bs_read;
    return ctx->freeblocks;
}

blockhdr *feedblock(qha5ctx *ctx, blockhdr *block) {
    block->state = bs_inside;
    block->next = block->first;
    block = ctx->intake(ctx, block);
    if (block->iostat == io_failed)
        return nullptr;
    block->state = bs_read;
    return block;
}

blockhdr *drawblock(qha5ctx *ctx, blockhdr *block) {
    block->state = bs_inside;
    block = ctx->deliver(ctx, block);
    if (block->iostat == io_failed)
        return nullptr;
    block->state = bs_write;
    return block;
}

blockhdr *endinput(qha5ctx *ctx, blockhdr *block) {
    block->state = bs_free;
    appendfree(ctx, block);
    if (runphases(ctx) != 0)
        return nullptr;
    blockhdr *const head = ctx->freeblocks; // the block given, if no other
    blockhdr *free = head;
    do
        free->end = free->first + ctx->outblklen;
    while ((free = free->link) != nullptr);
    ctx->freeblocks = head->link;
    head->link = nullptr;
    head->count = 0;
    return head;
}

} // namespace kvern
