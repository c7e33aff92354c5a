// Division of the working storage of a sort, front to back:
//
//   | caller block | 3 WB headers | 3 WB data areas | temporary file records |
//   | partial line of text | what setuppipeline divides: tables, buffers, slots |
//
// Later phases keep all of it but the last part.  Input fills the caller block and
// output uses it again, with an `end` that suits the length of output records.
#include "sort/blockflow.h"

#include "key/setup/pipeline.h"
#include "session/arena.h"
#include "session/qha9msg.h"
#include "sort/blocksize.h"
#include "sort/external/outlook.h"
#include "sort/external/tempfile.h"
#include "sort/phases.h"
#include "sort/slotintake.h"

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

constexpr uint32_t storageshare = 20; // a block takes a twentieth of the storage
constexpr uint32_t recordunit = 4;
// Behind the name of a directory: a separator, the longest name made by the
// system, the end.
constexpr uint32_t generatedname = platform::maxpath + 2;

// The nodes of three merge blocks, the fewest that a final merge runs with, may
// take half of the storage.  This shortens the WBs of the smallest records where
// pointers have 64 bits, and of long records rebuilt to a few bytes.
constexpr uint32_t nodeshare = 2 * 3;

struct storage {
    uint8_t *next;
    uint64_t left;

    uint8_t *take(uint64_t bytes) {
        uint8_t *taken = next;
        next += bytes;
        left -= bytes;
        return taken;
    }
};

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
bool buildcallerblocks(qha5ctx *ctx, storage &rest) {
    const uint64_t longest = std::max(ctx->inreclen, ctx->outreclen);
    const uint64_t wanted =
        std::max<uint64_t>(rest.left / storageshare, longest + sizeof(blockhdr));
    const blocklengths lengths = blocklengthsfor(ctx, wanted);
    if (lengths.block == 0 || lengths.block >= rest.left)
        return false;
    ctx->iobufcount = 1;
    ctx->inblklen = static_cast<uint32_t>(lengths.inblklen);
    ctx->outblklen = static_cast<uint32_t>(lengths.outblklen);
    ctx->textreadlen = static_cast<uint32_t>(lengths.textreadlen);

    ctx->wbsize = wbsizefor(ctx, lengths.block - sizeof(blockhdr));
    ctx->freeblocks = buildchain(rest.take(lengths.block), ctx->iobufcount, lengths.inblklen,
                                 lengths.block - sizeof(blockhdr));
    return true;
}

// Data areas are spaced so that index entries in them are aligned.
bool buildworkblocks(qha5ctx *ctx, storage &rest) {
    const uint64_t spacing = arenaround(ctx->wbsize);
    const uint64_t bytes = (spacing + sizeof(blockhdr)) * workblockcount;
    if (bytes > rest.left)
        return false;
    ctx->wbcount = workblockcount;
    ctx->freewbs = buildchain(rest.take(bytes), workblockcount, ctx->wbsize, spacing);
    return true;
}

// By the longest directory name given, whichever of them will be used.
uint64_t tempfilebudget(const qha5ctx *ctx) {
    uint64_t record = sizeof(tempfile);
    if (ctx->workkind == 'd') {
        size_t longest = 0;
        for (uint32_t i = 0; i < ctx->workdircount; i++)
            if (ctx->workpaths[i] != nullptr)
                longest = std::max(longest, std::strlen(ctx->workpaths[i]));
        record += longest + generatedname;
    }
    return arenaround(record) * tempfileroom;
}

bool reservetempfiles(qha5ctx *ctx, storage &rest) {
    const uint64_t budget = tempfilebudget(ctx);
    if (budget > rest.left)
        return false;
    ctx->tfrecroom = static_cast<uint32_t>(budget);
    ctx->tfrecnext = rest.take(budget);
    return true;
}

bool reservecarry(qha5ctx *ctx, storage &rest) {
    if (ctx->recform != 'r')
        return true;
    const uint64_t bytes = arenaround(sizeof(carryentry) + roundup(ctx->inreclen, recordunit));
    if (bytes >= rest.left)
        return false;
    ctx->carrytab = reinterpret_cast<carryentry *>(rest.take(bytes));
    *ctx->carrytab = {0, reinterpret_cast<uint8_t *>(ctx->carrytab + 1)};
    return true;
}

bool dividestorage(qha5ctx *ctx) {
    storage rest{ctx->arenanext, ctx->arenafree};
    if (!buildcallerblocks(ctx, rest) || !buildworkblocks(ctx, rest) ||
        !reservetempfiles(ctx, rest) || !reservecarry(ctx, rest))
        return false;
    ctx->sortnext = rest.next;
    ctx->sortfree = static_cast<uint32_t>(rest.left);
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
    if (setuppipeline(ctx) != 0 || provideforspill(ctx) != 0)
        return nullptr;
    ctx->intake = fillslots;
    ctx->arenanext = ctx->sortnext;
    ctx->arenafree = ctx->sortfree;
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
