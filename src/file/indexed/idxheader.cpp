// The header of an indexed file: checked in a fixed order, for the caller is
// told of the first fault.
#include "file/indexed/idxblock.h"
#include "file/indexed/idxformat.h"
#include "file/indexed/idxreader.h"
#include "file/waiting.h"
#include "sort/record/recordform.h"

#include <cstring>

namespace kvern {

namespace {

using namespace idxformat;

bool isheader(const uint8_t *hdr) {
    return hdr[typeat] == keyblock && memcmp(hdr + magicat, magic, sizeof magic) == 0;
}

void store(const uint8_t *hdr, idxinfo &info) {
    info.minreclen = big16(hdr + shortestat);
    info.maxreclen = big16(hdr + longestat);
    info.indexattr[0] = hdr[indexattrat];
    info.indexattr[1] = hdr[otherindexat];
    info.keypartcount = hdr[partcountat];
    info.blocksize = big16(hdr + blocksizeat);
    info.altblocksize = big16(hdr + altsizeat);
    info.hdrflags = host32(hdr + flagsat);
    info.lastblock = big32(hdr + lastblockat);
    info.openattr[0] = hdr[openattrat];
    info.openattr[1] = hdr[otheropenat];
}

bool islengths(const idxinfo &info) {
    return info.minreclen <= info.maxreclen && info.maxreclen != 0;
}

// The session's records are as long as each other or they are not, and so are
// the file's.
bool isform(const qha5ctx *ctx, const idxinfo &info) {
    const bool same = info.minreclen == info.maxreclen;
    return isfixed(ctx) ? same : isvariable(ctx) && !same;
}

bool isindexattr(uint8_t value) {
    return value == 1 || value == 2;
}

bool isusable(const idxinfo &info) {
    const bool sized = (info.hdrflags & 1) == 0 || info.altblocksize != 0;
    return isindexattr(info.indexattr[0]) && isindexattr(info.indexattr[1]) &&
           info.keypartcount != 0 && sized;
}

int readheader(qha5ctx *ctx, const filectl *file) {
    uint32_t count;
    const platform::syserror code =
        movedwhole(ctx, platform::readfile, ctx->idxhandle, ctx->idxhdr, headerlen, &count);
    if (platform::isinterrupted(code))
        return -1;
    if (code != 0)
        return idxfail(ctx, file, code, fileop::read);
    if (!isheader(ctx->idxhdr))
        return idxtorn(ctx, file);
    idxinfo &info = *ctx->idxinfos[ctx->idxcur];
    store(ctx->idxhdr, info);
    if (!islengths(info))
        return idxrefuse(ctx, file, msg_open, KVRN_D_OPEN);
    if (!isform(ctx, info))
        return idxrefuse(ctx, file, msg_fileblock, KVRN_D_FILEFORM);
    if (!isusable(info))
        return idxrefuse(ctx, file, msg_open, KVRN_D_OPEN);
    return idxblocksize(info) >= leastblock ? 0 : idxtorn(ctx, file);
}

} // namespace

// Where the file cannot be opened the message's arguments are those of the
// report before it: intended.
int idxreadhdr(qha5ctx *ctx, filectl *file) {
    if (file->kind != KVRN_FILE_INDEXED)
        return -1;
    const platform::syserror code = waited(ctx, [&] {
        return platform::openfile(file->name, platform::openmode::input, &ctx->idxhandle);
    });
    if (platform::isinterrupted(code))
        return -1;
    if (code != 0)
        return mapsyserror(ctx, code, fileop::open, file->mode);
    if (readheader(ctx, file) == 0)
        return 0;
    idxclose(ctx, file);
    return -1;
}

} // namespace kvern
