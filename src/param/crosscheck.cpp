// The session as a whole: what its function refuses and which options exclude
// each other.  The order of the calls in crosscheck is the order of the tests.
// Where a message goes out without an argument of its own, the slots stay as the
// last report left them.
#include "param/param.h"

#include "param/levels.h"
#include "param/steps.h"
#include "session/arena.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

#include <cstring>

namespace kvern {
namespace {

// One directory out of the environment, as a last source before the system's own
// default.  The text is read where it will lie, behind its table of one pointer.
int fromtmpdir(qha5ctx *ctx) {
    constexpr const char *variable = "TMPDIR";
    char probe;
    const uint64_t length = platform::environment(variable, &probe, 1);
    if (length == 0)
        return 0;
    const uint64_t table = arenaround(sizeof(char *));
    if (table + length + 1 > ctx->arenafree)
        return failstale(ctx, msg_nostorage, KVRN_D_STORAGE);
    char *text = reinterpret_cast<char *>(ctx->arenanext) + table;
    const uint32_t room = static_cast<uint32_t>(ctx->arenafree - table);
    const uint32_t got = platform::environment(variable, text, room);
    if (got == 0 || got >= room)
        return 0;
    const char *start = text + strspn(text, " ");
    if (*start == 0)
        return 0;
    const size_t bytes = strlen(start) + 1;
    memmove(text, start, bytes);
    uint8_t *place = arenaneed(ctx, table + bytes);
    if (place == nullptr)
        return -1;
    ctx->workpaths = reinterpret_cast<char **>(place);
    ctx->workpaths[0] = text;
    ctx->workdircount = 1;
    ctx->workkind = 'd';
    return 0;
}

int settleplaces(qha5ctx *ctx) {
    if (ctx->function != KVRN_SORT)
        return 0;
    if (ctx->workkind == 0 && fromtmpdir(ctx) != 0)
        return -1;
    if (ctx->workkind != 'd')
        return 0;
    for (uint32_t i = 0; i < ctx->workdircount; i++) {
        char *path = ctx->workpaths[i];
        const size_t length = path != nullptr ? strlen(path) : 0;
        if (length != 0 && path[length - 1] == '/')
            path[length - 1] = 0;
    }
    return 0;
}

int unsupported(qha5ctx *ctx) {
    return failstale(ctx, msg_nofunction, KVRN_D_UNSUPPORTED);
}
int refusetogether(qha5ctx *ctx) {
    return failstale(ctx, msg_prim, KVRN_D_PRIM);
}

// A merge exchanges single records only, and its inputs are counted.
int checkmerge(qha5ctx *ctx) {
    if ((ctx->apiinput && (ctx->recoprat & KVRN_PUT_BLOCK) != 0) ||
        (ctx->apioutput && (ctx->recoprat & KVRN_GET_BLOCK) != 0))
        return unsupported(ctx);
    const bool miscounted = !ctx->apiinput && ctx->filecount != ctx->mergecount;
    if (ctx->mergecount == 0 || miscounted || ctx->stdinopt || ctx->samefile)
        return refusetogether(ctx);
    return 0;
}

// A copy runs from files to a file and knows no keys.
int checkcopy(qha5ctx *ctx) {
    if (ctx->apiinput || ctx->apioutput)
        return unsupported(ctx);
    if (ctx->sumopt || ctx->suppressopt || ctx->descall || ctx->samefile)
        return refusetogether(ctx);
    return 0;
}

int checkfunction(qha5ctx *ctx) {
    if (ctx->function == KVRN_MERGE)
        return checkmerge(ctx);
    return ctx->function == KVRN_COPY ? checkcopy(ctx) : 0;
}

int settlerecfunc(qha5ctx *ctx) {
    if (static_cast<int>(ctx->sumopt) + static_cast<int>(ctx->suppressopt) +
            static_cast<int>(ctx->keeporder) >
        1)
        return failstale(ctx, msg_prim, KVRN_D_EXCLUSIVE);
    ctx->recfunc = ctx->sumopt ? rf_sum : ctx->suppressopt ? rf_suppress : rf_none;
    return 0;
}

} // namespace

int crosscheck(qha5ctx *ctx) {
    if (ctx->function == KVRN_MERGE && quirks::mergesamefile(ctx->version))
        ctx->samefile = false;
    if ((ctx->usefilemgr || ctx->useindexed) && istext(ctx))
        return fail(ctx, msg_fileattribute, KVRN_D_FILEFORM, "Text file is not specified");
    if (checkinputs(ctx) != 0 || checkoutput(ctx) != 0 || checksamefile(ctx) != 0 ||
        settleplaces(ctx) != 0 || checkfunction(ctx) != 0 || settlerecfunc(ctx) != 0 ||
        checkpieces(ctx) != 0)
        return -1;
    settlelengths(ctx);
    return checksums(ctx) != 0 ? -1 : checkconditions(ctx);
}

} // namespace kvern
