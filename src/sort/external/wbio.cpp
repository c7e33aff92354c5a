// Whole-block transfer and the circulation of the three work blocks.
//
//                 readwb, writewb               nothing free: all finished
//   in use  ------------------------> ioqueue ------------------------------+
//      ^                           (oldest first)                           v
//      +------------------------------------------------------------- freewbs
//                          freewb, takefree (head first)
//
// Transfers run at once on the caller's thread.  A write that fails for good is the
// failure of the call that wrote; the queue keeps the blocks that were read ahead, and
// written ones until somebody settles where they came to lie.  So a WB is entered in
// the index only after its write is known to have worked, and in the order of writing.
//
//   state  on freewbs / ioqueue          iostat
//   f      idle                          -
//   r      read was issued               io_done, io_failed
//   w      write was issued              io_done, io_full
//
// Invariants: a block hangs in one chain at a time; the place of a WB is a multiple
// of wbsize and the place behind it still has a position; `size` never wraps.  A
// file at its greatest size stands still there, and every write to it counts as
// "disk full".
#include "sort/external/wbio.h"

#include "session/pump.h"
#include "session/qha9msg.h"
#include "sort/external/tempfile.h"

#include <cassert>

namespace kvern {

namespace {

constexpr platform::syserror err_handleeof = 38;

bool isdiskfull(platform::syserror error) {
    return error == platform::err_diskfull || error == platform::err_handlediskfull;
}

// The end of every transfer: one message round, then into the queue.
int enqueue(qha5ctx *ctx, blockhdr *wb) {
    if (pumpround(ctx))
        return -1;
    wb->link = nullptr;
    if (ctx->ioqueue == nullptr)
        ctx->ioqueue = wb;
    else
        ctx->ioqueuetail->link = wb;
    ctx->ioqueuetail = wb;
    return 0;
}

// Whether the file may have a WB at this place.
bool fits(const qha5ctx *ctx, platform::filepos place) {
    assert(place % ctx->wbsize == 0);
    return ctx->tempfilelimit >= ctx->wbsize && place <= ctx->tempfilelimit - ctx->wbsize;
}

int32_t failplace(qha5ctx *ctx, platform::syserror error) {
    notesyscode(ctx, error);
    (void)fail(ctx, msg_systemcall, KVRN_D_SYSTEM, "SetFilePointer", error);
    return io_failed;
}

int32_t readinto(qha5ctx *ctx, blockhdr *wb) {
    assert(wb->filepos % ctx->wbsize == 0);
    const platform::blockmove read =
        platform::readat(wb->file->handle, wb->filepos, wb->first, ctx->wbsize);
    if (!read.placed)
        return failplace(ctx, read.error);
    ++wb->file->reads;
    ++ctx->tempreads;
    if (read.error == 0 && read.count == ctx->wbsize)
        return io_done;
    notesyscode(ctx, read.error != 0 ? read.error : err_handleeof);
    (void)faillogic(ctx);
    return io_failed;
}

int32_t foundfull(qha5ctx *ctx, platform::syserror error) {
    notesyscode(ctx, error);
    return io_full;
}

int32_t writefrom(qha5ctx *ctx, blockhdr *wb) {
    if (!fits(ctx, wb->filepos))
        return foundfull(ctx, platform::err_handlediskfull);
    const platform::blockmove written =
        platform::writeat(wb->file->handle, wb->filepos, wb->first, ctx->wbsize);
    if (!written.placed)
        return failplace(ctx, written.error);
    if (written.error == 0) {
        ++wb->file->writes;
        ++ctx->tempwrites;
        return written.count == ctx->wbsize ? io_done : foundfull(ctx, platform::err_diskfull);
    }
    if (isdiskfull(written.error))
        return foundfull(ctx, written.error);
    notesyscode(ctx, written.error);
    (void)fail(ctx, msg_write, KVRN_D_TEMPWRITE, wb->file->path, written.error);
    return io_failed;
}

} // namespace

int readwb(qha5ctx *ctx, blockhdr *wb) {
    wb->state = bs_read;
    wb->iostat = readinto(ctx, wb);
    return enqueue(ctx, wb);
}

int writewb(qha5ctx *ctx, blockhdr *wb) {
    wb->state = bs_write;
    wb->iostat = writefrom(ctx, wb);
    return wb->iostat == io_failed ? -1 : enqueue(ctx, wb);
}

int appendwb(qha5ctx *ctx, blockhdr *wb) {
    tempfile *file = activetemp(ctx);
    if (file == nullptr)
        return -1;
    wb->file = file;
    wb->filepos = file->size;
    if (fits(ctx, file->size)) {
        file->size += ctx->wbsize;
        ctx->tempbytes += ctx->wbsize;
    }
    return writewb(ctx, wb);
}

blockhdr *takedone(qha5ctx *ctx, const blockhdr *wb) {
    blockhdr *before = nullptr;
    blockhdr *at = ctx->ioqueue;
    while (at != nullptr && at != wb) {
        before = at;
        at = at->link;
    }
    if (at == nullptr)
        return nullptr;
    (before == nullptr ? ctx->ioqueue : before->link) = at->link;
    if (ctx->ioqueuetail == at)
        ctx->ioqueuetail = before;
    at->link = nullptr;
    return at;
}

blockhdr *takequeue(qha5ctx *ctx) {
    blockhdr *all = ctx->ioqueue;
    ctx->ioqueue = nullptr;
    ctx->ioqueuetail = nullptr;
    return all;
}

blockhdr *takefree(qha5ctx *ctx) {
    if (ctx->freewbs == nullptr)
        ctx->freewbs = takequeue(ctx);
    blockhdr *wb = ctx->freewbs;
    if (wb == nullptr) {
        (void)faillogic(ctx);
        return nullptr;
    }
    ctx->freewbs = wb->link;
    wb->link = nullptr;
    return wb;
}

blockhdr *cleared(blockhdr *wb) {
    wb->count = 0;
    wb->state = bs_inside;
    wb->next = wb->first;
    return wb;
}

blockhdr *freewb(qha5ctx *ctx) {
    blockhdr *wb = takefree(ctx);
    if (wb == nullptr)
        return nullptr;
    if (wb->state != bs_free) {
        (void)faillogic(ctx);
        return nullptr;
    }
    return cleared(wb);
}

void returnwb(qha5ctx *ctx, blockhdr *wb) {
    wb->state = bs_free;
    wb->link = nullptr;
    blockhdr **tail = &ctx->freewbs;
    for (uint32_t links = 0; *tail != nullptr; tail = &(*tail)->link)
        if (++links >= ctx->wbcount) {
            assert(false && "more free blocks than there are");
            return;
        }
    *tail = wb;
}

bool allidle(const qha5ctx *ctx) {
    for (const blockhdr *wb = ctx->freewbs; wb != nullptr; wb = wb->link)
        if (wb->state != bs_free)
            return false;
    return true;
}

int rehome(qha5ctx *ctx, blockhdr *wb) {
    wb->file->state = fs_full; // the place that this write had taken stays lost
    tempfile *file = ctx->tempfiles;
    while (file != nullptr && file->state != fs_open)
        file = file->link;
    if (file == nullptr) {
        int outcome;
        do
            outcome = newtemp(ctx);
        while (outcome == 1);
        if (outcome != 0)
            return -1;
    }
    return appendwb(ctx, wb);
}

int settlewrite(qha5ctx *ctx, blockhdr *wb) {
    while (wb->iostat == io_full)
        if (rehome(ctx, wb) != 0 || takedone(ctx, wb) == nullptr)
            return -1;
    return 0;
}

int writewbsync(qha5ctx *ctx, blockhdr *wb) {
    if (appendwb(ctx, wb) != 0 || takedone(ctx, wb) == nullptr)
        return -1;
    return settlewrite(ctx, wb);
}

int overwritewb(qha5ctx *ctx, blockhdr *wb) {
    if (writewb(ctx, wb) != 0 || takedone(ctx, wb) == nullptr)
        return -1;
    if (wb->iostat != io_done)
        return faillogic(ctx);
    wb->state = bs_free;
    return 0;
}

int readwbsync(qha5ctx *ctx, blockhdr *wb) {
    if (readwb(ctx, wb) != 0 || takedone(ctx, wb) == nullptr)
        return -1;
    if (wb->iostat != io_done)
        return -1;
    wb->state = bs_inside;
    return 0;
}

} // namespace kvern
