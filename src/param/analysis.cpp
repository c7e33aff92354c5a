// The order of the analysis: options, files, field tables.
#include "param/param.h"

#include "param/fieldspec.h"
#include "param/levels.h"
#include "param/steps.h"
#include "session/qha9msg.h"

namespace kvern {

int analyse(qha5ctx *ctx, KVRNPRIM *prim, const KVRNKEY *keys, const KVRNFILE *files,
            const KVRNOPT *opts) {
    const int level = levelof(ctx->version);
    if (level == nolevel) {
        // No message speaks of it; only the detail does.
        notedetail(ctx, KVRN_D_VERSION);
        return -1;
    }
    ctx->level = static_cast<uint8_t>(level);
    if (readoptions(ctx, prim) != 0 || buildfiles(ctx, files) != 0)
        return -1;
    return readfields(ctx, prim, keys, opts);
}

} // namespace kvern
