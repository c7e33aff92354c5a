// Stages in order: context and work area, one pump round, analysis, file manager,
// cross-checks, then the arm of the session's function.  Whatever fails leaves a
// context behind that qha5term can close.

#include "session/run/steps.h"

#include "file/manager/fmgrlibrary.h"
#include "merge/copy/copy.h"
#include "param/param.h"
#include "session/arena.h"
#include "session/busy.h"
#include "session/phaseclock.h"
#include "session/pump.h"
#include "session/qha9msg.h"
#include "session/qha9msgt.h"
#include "sort/sort.h"

#include <cstring>

namespace kvern {

namespace {

// Head of the arena that no one uses; it counts for how many records a storage
// size holds, which callers know by experience.
constexpr uint32_t unusedhead = 372;

constexpr uint32_t kilobyte = 1024;

bool hassyserr(uint32_t version) {
    return version >= KVRN_VERSION_L3;
}

void clearblock(uint32_t version, KVRNSESS *sess) {
    sess->ctx = nullptr;
    sess->detail = 0;
    sess->putcount = 0;
    sess->getcount = 0;
    if (hassyserr(version))
        sess->syserr = 0;
}

// A stop comes out of the lower rooms as a failure without a message.
int giveup(const qha5ctx *ctx, KVRNSESS *sess) {
    return ctx->cancelled == 1 ? 1 : callfailed(ctx, sess);
}

int giveuprun(const qha5ctx *ctx, KVRNSESS *sess) {
    const int result = giveup(ctx, sess);
    if (result < 0 && hassyserr(ctx->version))
        sess->syserr = ctx->errno_detail;
    return result;
}

int startmanager(qha5ctx *ctx) {
    return ctx->usefilemgr || ctx->useindexed ? fmgrstart(ctx) : 0;
}

int sortarm(qha5ctx *ctx, KVRNSESS *) {
    wirerefusal(ctx);
    ctx->putfn = chooseput(ctx);
    ctx->getfn = chooseget(ctx);
    ctx->putblock = buildblocks(ctx);
    if (ctx->putblock == nullptr)
        return -1;
    ctx->putblock->count = 0;
    ctx->putblock->next = ctx->putblock->first;
    if (ctx->apiinput)
        return 0;
    if (readinputs(ctx) != 0)
        return -1;
    ctx->state = st_sorted;
    if (ctx->apioutput)
        return 0;
    if (writeoutput(ctx) != 0)
        return -1;
    ctx->state = st_finished;
    return 0;
}

int copyarm(qha5ctx *ctx, KVRNSESS *) {
    if (setupcopy(ctx) != 0 || runcopy(ctx) != 0)
        return -1;
    ctx->state = st_finished;
    return 0;
}

uint32_t inputfiles(const qha5ctx *ctx) {
    return ctx->apiinput ? 0 : ctx->filecount;
}
uint32_t mergeinputs(const qha5ctx *ctx) {
    return ctx->mergecount;
}

struct arm {
    uint8_t function;
    uint32_t (*inputs)(const qha5ctx *ctx); // how many are counted one by one
    uint32_t shortdetail;                   // when their counters have no room
    int (*run)(qha5ctx *ctx, KVRNSESS *sess);
};
constexpr arm arms[] = {
    {KVRN_SORT, inputfiles, KVRN_D_STORAGE, sortarm},
    {KVRN_MERGE, mergeinputs, KVRN_D_STORAGE, openmerge},
    {KVRN_COPY, inputfiles, KVRN_D_SETUP, copyarm},
};

int takecounters(qha5ctx *ctx, const arm &chosen) {
    const uint64_t bytes = uint64_t{chosen.inputs(ctx)} * sizeof(uint32_t);
    uint8_t *counters = arenaneed(ctx, bytes, chosen.shortdetail);
    if (counters == nullptr)
        return -1;
    memset(counters, 0, static_cast<size_t>(bytes));
    ctx->perinput = reinterpret_cast<uint32_t *>(counters);
    return 0;
}

int runfunction(qha5ctx *ctx, KVRNSESS *sess) {
    for (const arm &row : arms) {
        if (row.function != ctx->function)
            continue;
        if (takecounters(ctx, row) != 0)
            return giveup(ctx, sess);
        return row.run(ctx, sess) < 0 ? giveuprun(ctx, sess) : 0;
    }
    return 0;
}

void markstart(qha5ctx *ctx) {
    if (ctx->msglevel < lv_summary)
        return;
    (void)readclock(ctx, &ctx->starttime);
    setargs(ctx);
    point(ctx, msg_starts, lv_summary);
    point(ctx, msg_storage, lv_resources, ctx->worksize / kilobyte);
}

int runstages(qha5ctx *ctx, KVRNPRIM *prim, KVRNSESS *sess, const KVRNKEY *keys,
              const KVRNFILE *files, const KVRNOPT *opts) {
    if (arenatake(ctx, unusedhead) == nullptr) {
        sess->detail = KVRN_D_STORAGE;
        return -1;
    }
    ctx->msgtable = qha9msgt;
    if (pumpround(ctx))
        return 1;
    if (analyse(ctx, prim, keys, files, opts) != 0 || startmanager(ctx) != 0 ||
        crosscheck(ctx) != 0)
        return giveup(ctx, sess);
    markstart(ctx);
    ctx->state = st_ready;
    return runfunction(ctx, sess);
}

} // namespace

int runsession(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess,
               const KVRNKEY *keys, const KVRNFILE *files, const KVRNOPT *opts) {
    clearblock(version, sess);
    qha5ctx *ctx;
    int result = ctxcreate(version, link, prim, sess, files, &ctx);
    if (ctx == nullptr)
        return result;
    const busymark running(ctx);
    if (result == 0)
        result = runstages(ctx, prim, sess, keys, files, opts);
    return endcall(ctx, result);
}

} // namespace kvern
