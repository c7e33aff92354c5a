// The index of first keys.  Each data WB on disk has one entry, in the order in
// which the writes were settled.  Entries fill an index WB from position 1 on;
// position 0 names the index WB before:
//
//   first index WB             second                      newest: the root
//   | x null | d | d | d |  <--| x count 4 | d | d | d |<--| x count 4 | d | stale |
//
// So the chain runs backward, from the root to the WB whose entry 0 names no file.
// A WB that is full goes to disk at once and the same memory starts the next, so
// `idxwb` always has room for one more entry.
//
// Invariants: idxwb->next == first + count * idxentlen; dataentries is the number
// of d entries made; a block is entered only after its write worked.
#include "sort/external/blockindex.h"

#include "session/qha9msg.h"
#include "sort/external/diskimage.h"
#include "sort/external/wbio.h"

#include <cassert>
#include <cstring>

namespace kvern {

namespace {

idxentry *nextentry(const qha5ctx *ctx, entrykind kind) {
    blockhdr *wb = ctx->idxwb;
    assert(wb->next == wb->first + size_t{wb->count} * ctx->idxentlen);
    assert(static_cast<size_t>(wb->end - wb->next) >= ctx->idxentlen);
    auto *entry = reinterpret_cast<idxentry *>(wb->next);
    memset(static_cast<void *>(entry), 0, ctx->idxentlen);
    entry->kind = kind;
    entry->mark = em_unread;
    wb->next += ctx->idxentlen;
    ++wb->count;
    return entry;
}

// Starts idxwb afresh behind the index WB at the given place.
void chainbehind(const qha5ctx *ctx, tempfile *file, platform::filepos place, uint32_t count) {
    blockhdr *wb = ctx->idxwb;
    wb->next = wb->first;
    wb->count = 0;
    wb->state = bs_inside;
    idxentry *entry = nextentry(ctx, ek_index);
    entry->tempfile = file;
    entry->filepos = place;
    entry->count = count;
}

int closeindex(qha5ctx *ctx) {
    blockhdr *wb = ctx->idxwb;
    if (wb->count == 0)
        return faillogic(ctx);
    if (wb->count == 1) {
        const auto *chain = reinterpret_cast<const idxentry *>(wb->first);
        ctx->idxrootfile = chain->tempfile;
        ctx->idxrootpos = chain->filepos;
        ctx->idxrootcount = ctx->idxperwb;
    } else {
        if (writewbsync(ctx, wb) != 0)
            return -1;
        ctx->idxrootfile = wb->file;
        ctx->idxrootpos = wb->filepos;
        ctx->idxrootcount = wb->count;
    }
    if (ctx->idxrootfile == nullptr)
        return faillogic(ctx);
    ctx->idxwb = nullptr;
    returnwb(ctx, wb);
    return 0;
}

int settledata(qha5ctx *ctx, blockhdr *wb) {
    if (wb->state != bs_write)
        return faillogic(ctx);
    return settlewrite(ctx, wb) != 0 ? -1 : addentry(ctx, wb);
}

// Takes every block out of freewbs and then out of the queue, oldest first, one at
// a time: settling one may put it through the queue again.
int settleall(qha5ctx *ctx) {
    blockhdr *idle = nullptr;
    for (;;) {
        if (ctx->freewbs == nullptr)
            ctx->freewbs = takequeue(ctx);
        blockhdr *wb = ctx->freewbs;
        if (wb == nullptr)
            break;
        ctx->freewbs = wb->link;
        if (wb->state != bs_free && settledata(ctx, wb) != 0)
            return -1;
        wb->state = bs_free;
        wb->link = idle;
        idle = wb;
    }
    while (idle != nullptr) {
        blockhdr *wb = idle;
        idle = wb->link;
        wb->link = ctx->freewbs;
        ctx->freewbs = wb;
    }
    return 0;
}

} // namespace

int openindex(qha5ctx *ctx) {
    ctx->idxwb = nextoutwb(ctx);
    if (ctx->idxwb == nullptr)
        return -1;
    chainbehind(ctx, nullptr, 0, 0);
    return 0;
}

int addentry(qha5ctx *ctx, const blockhdr *wb) {
    idxentry *entry = nextentry(ctx, ek_data);
    entry->tempfile = wb->file;
    entry->filepos = wb->filepos;
    entry->count = wb->count;
    memcpy(entry->key(), wb->first, ctx->keylen);
    ++ctx->dataentries;

    blockhdr *index = ctx->idxwb;
    if (static_cast<size_t>(index->end - index->next) >= ctx->idxentlen)
        return 0;
    if (writewbsync(ctx, index) != 0)
        return -1;
    chainbehind(ctx, index->file, index->filepos, index->count);
    return 0;
}

blockhdr *nextoutwb(qha5ctx *ctx) {
    blockhdr *wb = takefree(ctx);
    if (wb == nullptr)
        return nullptr;
    if (wb->state == bs_write && (settlewrite(ctx, wb) != 0 || addentry(ctx, wb) != 0))
        return nullptr;
    return cleared(wb);
}

int drain(qha5ctx *ctx) {
    return settleall(ctx) != 0 ? -1 : closeindex(ctx);
}

} // namespace kvern
