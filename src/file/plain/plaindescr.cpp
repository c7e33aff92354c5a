// Descriptor files never run the message pump, but where a wait is interrupted; they
// know no end mark on input, and split text at line feeds whatever the session's
// delimiter is: all intended, programs that feed standard input rely on it.  A standard
// stream is a record that nobody opens: its descriptor stays 0, for the output too.
#include "file/plain/plainfiles.h"

#include "file/filectl.h"
#include "file/plain/linesplit.h"
#include "file/waiting.h"
#include "session/qha9msg.h"

namespace kvern {

namespace {

constexpr uint8_t ownkind = 1;
constexpr uint8_t linefeed[] = {0x0A};
constexpr linedelimiter ownline = {linefeed, sizeof linefeed};

// The arguments that a message takes.
enum class naming : uint8_t { none, name, nameerror };

struct descrfailure {
    int error;
    uint32_t mode; // 0: any
    msgno message;
    uint32_t detail;
    naming arguments;
};

// The last row of each table takes what the others leave.
constexpr descrfailure openfailures[] = {
    {2, 0, msg_nofile, KVRN_D_NOFILE, naming::name},
    {13, 'r', msg_noreadperm, KVRN_D_NOREADPERM, naming::name},
    {13, 'w', msg_nowriteperm, KVRN_D_NOWRITEPERM, naming::name},
    {20, 0, msg_pathprefix, KVRN_D_PATHPREFIX, naming::name},
    {21, 0, msg_isdirectory, KVRN_D_ISDIRECTORY, naming::name},
    {24, 0, msg_toomanyfiles, KVRN_D_TOOMANYFILES, naming::none},
    {28, 0, msg_devicefull, KVRN_D_DEVICEFULL, naming::name},
    {0, 0, msg_open, KVRN_D_OPEN, naming::nameerror},
};
constexpr descrfailure writefailures[] = {
    {27, 0, msg_filesize, KVRN_D_FILESIZE, naming::name},
    {28, 0, msg_devicefull, KVRN_D_DEVICEFULL, naming::none},
    {0, 0, msg_write, KVRN_D_WRITE, naming::nameerror},
};

int32_t failrow(qha5ctx *ctx, const descrfailure &row, const char *name, int error) {
    notesyscode(ctx, static_cast<uint32_t>(error));
    switch (row.arguments) {
    case naming::none:
        return fail(ctx, row.message, row.detail);
    case naming::name:
        return fail(ctx, row.message, row.detail, name);
    case naming::nameerror:
        break;
    }
    return fail(ctx, row.message, row.detail, name, ctx->errnum);
}

template <uint32_t rows>
int32_t failby(qha5ctx *ctx, const descrfailure (&table)[rows], const char *name, uint32_t mode,
               int error) {
    if (platform::isinterrupted(error))
        return -1;
    const descrfailure *row = table;
    while (row != table + rows - 1 &&
           (row->error != error || (row->mode != 0 && row->mode != mode)))
        ++row;
    return failrow(ctx, *row, name, error);
}

// A torn file or an endless line has the error number 0.
int32_t failread(qha5ctx *ctx, const filectl *file, int error) {
    if (platform::isinterrupted(error))
        return -1;
    notesyscode(ctx, static_cast<uint32_t>(error));
    return fail(ctx, msg_read, KVRN_D_READ, messagename(file), ctx->errnum);
}

} // namespace

int32_t opendescr(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind || (file->mode != 'r' && file->mode != 'w'))
        return -1;
    const int error = waited(
        ctx, [&] { return platform::opendescr(file->name, file->mode == 'w', &file->descriptor); });
    if (error != 0)
        return failby(ctx, openfailures, messagename(file), file->mode, error);
    file->isopen = true;
    return 0;
}

int32_t closedescr(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind || !file->isopen)
        return -1;
    file->isopen = false;
    uint32_t count = 0;
    if (ctx->eofmark && file->mode == 'w') // untested: intended
        (void)movedwhole(ctx, platform::writedescr, file->descriptor, &endmark, 1, &count);
    const int error = platform::closedescr(file->descriptor);
    if (error == 0)
        return 0;
    notesyscode(ctx, static_cast<uint32_t>(error));
    return fail(ctx, msg_close, KVRN_D_CLOSE, messagename(file), ctx->errnum);
}

int32_t descrrecords(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind)
        return -1;
    blockhdr *block = file->block;
    uint32_t count = 0;
    const int error =
        movedwhole(ctx, platform::readdescr, file->descriptor, block->first, ctx->inblklen, &count);
    ctx->inbytes += count;
    if (error != 0 || count % ctx->inreclen != 0)
        return failread(ctx, file, error);
    block->count = count / ctx->inreclen;
    block->limit = block->first + count;
    return static_cast<int32_t>(count);
}

int32_t descrlines(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind)
        return -1;
    blockhdr *block = file->block;
    carryentry *carry = &ctx->carrytab[block->blockinput];
    block->count = 0;
    uint32_t length = takecarry(carry, block);
    uint32_t count = 0;
    const int error = movedwhole(ctx, platform::readdescr, file->descriptor, block->first + length,
                                 ctx->textreadlen, &count);
    if (error != 0)
        return failread(ctx, file, error);
    ctx->inbytes += count;
    length += count;
    if (length == 0) {
        endlines(carry, block);
        return 0;
    }
    if (splitlines(block, carry, length, ownline, ctx->inreclen, false) == splitend::toolong)
        return failread(ctx, file, 0);
    return blockbytes(block);
}

int32_t writedescr(qha5ctx *ctx, filectl *file) {
    if (file->kind != ownkind)
        return -1;
    const blockhdr *block = file->block;
    uint32_t count = 0;
    const int error = movedwhole(ctx, platform::writedescr, file->descriptor, block->first,
                                 static_cast<uint32_t>(blockbytes(block)), &count);
    ctx->outbytes += count;
    if (error != 0)
        return failby(ctx, writefailures, outputname(file), file->mode, error);
    return static_cast<int32_t>(count);
}

} // namespace kvern
