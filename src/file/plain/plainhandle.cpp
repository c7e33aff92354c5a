// A block that was moved ends with a round of the message pump; a stop asked for
// there leaves with -1 and no message.  A text file may end in the mark 0x1A: it
// is no data, nothing behind it is, and the session's output then gets one too.
#include "file/plain/plainfiles.h"

#include "file/filectl.h"
#include "file/plain/linesplit.h"
#include "file/syserror.h"
#include "file/waiting.h"
#include "session/qha9msg.h"

#include <cstring>

namespace kvern {

namespace {

constexpr uint8_t ownkind = 16;

// A torn file is no system error: its message shows the result of the read that
// worked in place of an error number.
constexpr uint32_t readworked = 1;

int32_t failsystem(qha5ctx *ctx, const filectl *file, platform::syserror code, fileop operation) {
    if (platform::isinterrupted(code))
        return -1;
    setargs(ctx, msgarg::of(messagename(file)), msgarg::of(code));
    return mapsyserror(ctx, code, operation, file->mode);
}

int32_t failtorn(qha5ctx *ctx, const filectl *file) {
    return fail(ctx, msg_read, KVRN_D_READ, messagename(file), readworked);
}

int32_t afterpump(qha5ctx *ctx, int32_t result) {
    return pumpround(ctx) ? -1 : result;
}

// The file is read up as far as its mark.
int32_t endatmark(qha5ctx *ctx, carryentry *carry, blockhdr *block) {
    ctx->eofmark = true;
    endlines(carry, block);
    return 0;
}

// The block's bytes as far as an end mark, 0 when it stands in front of them all.
uint32_t cutmarked(filectl *file, blockhdr *block, uint32_t length, linedelimiter delimiter) {
    const void *mark = memchr(block->first, endmark, length);
    if (mark == nullptr)
        return length;
    file->eofseen = true;
    const auto index = static_cast<uint32_t>(static_cast<const uint8_t *>(mark) - block->first);
    return index == 0 ? 0 : cutatmark(block, index, delimiter);
}

} // namespace

int32_t openhandle(qha5ctx *ctx, filectl *file) {
    using platform::openmode;
    if (file->kind != ownkind || (file->mode != 'r' && file->mode != 'w'))
        return -1;
    const openmode mode = file->mode == 'r' ? openmode::input : openmode::create;
    const auto open = [&](openmode how) {
        return waited(ctx, [&] { return platform::openfile(file->name, how, &file->handle); });
    };
    platform::syserror code = open(mode);
    // Some files may be emptied but not made anew.
    if (code != 0 && mode == openmode::create && !platform::isinterrupted(code))
        code = open(openmode::truncate);
    if (code != 0)
        return failsystem(ctx, file, code, fileop::open);
    file->isopen = true;
    return 0;
}

int32_t closehandle(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind || !file->isopen)
        return -1;
    file->isopen = false;
    platform::syserror marked = 0;
    if (ctx->eofmark && file->mode == 'w') {
        uint32_t count = 0;
        marked = movedwhole(ctx, platform::writefile, file->handle, &endmark, 1, &count);
        ctx->outbytes += count;
    }
    const platform::syserror closed = platform::closefile(file->handle);
    if (marked != 0)
        return failsystem(ctx, file, marked, fileop::write);
    return closed == 0 ? 0 : failsystem(ctx, file, closed, fileop::close);
}

int32_t handlerecords(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind)
        return -1;
    blockhdr *block = file->block;
    uint32_t count = 0;
    const platform::syserror code =
        movedwhole(ctx, platform::readfile, file->handle, block->first, ctx->inblklen, &count);
    if (code != 0)
        return failsystem(ctx, file, code, fileop::read);
    ctx->inbytes += count;
    if (count % ctx->inreclen != 0)
        return failtorn(ctx, file);
    block->count = count / ctx->inreclen;
    block->limit = block->first + count;
    return count == 0 ? 0 : afterpump(ctx, static_cast<int32_t>(count));
}

int32_t handlelines(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind)
        return -1;
    blockhdr *block = file->block;
    carryentry *carry = &ctx->carrytab[block->blockinput];
    const linedelimiter delimiter = {ctx->linedlmt, ctx->linedlmtlen};
    block->count = 0;
    uint32_t length = takecarry(carry, block);
    if (file->eofseen && length == 0)
        return endatmark(ctx, carry, block);

    uint32_t count = 0;
    const platform::syserror code = movedwhole(ctx, platform::readfile, file->handle,
                                               block->first + length, ctx->textreadlen, &count);
    if (code != 0)
        return failsystem(ctx, file, code, fileop::read);
    ctx->inbytes += count;
    length += count;
    if (length == 0) {
        endlines(carry, block);
        return 0;
    }
    length = cutmarked(file, block, length, delimiter);
    if (length == 0)
        return endatmark(ctx, carry, block);
    switch (splitlines(block, carry, length, delimiter, ctx->inreclen, file->eofseen)) {
    case splitend::delimiter:
        return afterpump(ctx, blockbytes(block));
    case splitend::added:
        return blockbytes(block);
    case splitend::toolong:
        break;
    }
    return failtorn(ctx, file);
}

int32_t writehandle(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind)
        return -1;
    const blockhdr *block = file->block;
    uint32_t count = 0;
    const platform::syserror code = movedwhole(ctx, platform::writefile, file->handle, block->first,
                                               static_cast<uint32_t>(blockbytes(block)), &count);
    ctx->outbytes += count;
    if (code != 0)
        return failsystem(ctx, file, code, fileop::write);
    return afterpump(ctx, static_cast<int32_t>(count));
}

} // namespace kvern
