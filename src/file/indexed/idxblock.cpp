#include "file/indexed/idxblock.h"

#include "file/indexed/idxreader.h"
#include "session/qha9msg.h"

#include <cstring>

namespace kvern {

// A read that fails in the direct reader is mapped as that of any other file, decided:
// the caller learns what the system says of the device, not that a file was torn.
int idxfail(qha5ctx *ctx, const filectl *file, platform::syserror code, fileop operation) {
    setargs(ctx, msgarg::of(file->name), msgarg::of(code));
    return mapsyserror(ctx, code, operation, file->mode);
}

int idxrefuse(qha5ctx *ctx, const filectl *file, msgno message, uint32_t detail) {
    return fail(ctx, message, detail, file->name, ctx->errnum);
}

int idxtorn(qha5ctx *ctx, const filectl *file) {
    return idxrefuse(ctx, file, msg_read, KVRN_D_READ);
}

int idxreadblock(qha5ctx *ctx, const filectl *file, uint32_t number) {
    const idxinfo &info = *ctx->idxinfos[ctx->idxcur];
    ctx->idxblocklen = idxblocksize(info);
    const uint64_t place = uint64_t{number} * ctx->idxblocklen;
    if (number > info.lastblock || place > UINTPTR_MAX)
        return idxtorn(ctx, file);
    const platform::blockmove read = platform::readat(
        ctx->idxhandle, static_cast<platform::filepos>(place), ctx->idxblock, ctx->idxblocklen);
    if (read.error != 0)
        return idxfail(ctx, file, read.error, fileop::read);
    memset(ctx->idxblock + read.count, 0, ctx->idxblocklen - read.count);
    return 0;
}

void idxclose(qha5ctx *ctx, const filectl *file) {
    if (const platform::syserror code = platform::closefile(ctx->idxhandle); code != 0)
        idxfail(ctx, file, code, fileop::close);
    ctx->idxhandle = platform::nofile;
}

} // namespace kvern
