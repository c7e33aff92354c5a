// What a front end may ask a session: its counters and its last message.  Both read
// what the engine keeps anyway, so they may be called as often as one likes, from
// the hook too.

#include "session/busy.h"
#include "session/call/exported.h"
#include "session/msgformat.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

#include <algorithm>
#include <cstring>

namespace kvern {

namespace {

uint32_t sortphase(const qha5ctx *ctx) {
    if (ctx->state == st_sorted || ctx->state == st_getting)
        return KVRN_PHASE_OUTPUT;
    return ctx->ordering ? KVRN_PHASE_ORDER : KVRN_PHASE_INPUT;
}

uint32_t phaseof(const qha5ctx *ctx) {
    if (ctx->state == st_created)
        return KVRN_PHASE_OPENING;
    if (ctx->state == st_finished)
        return KVRN_PHASE_DONE;
    return ctx->function == KVRN_SORT ? sortphase(ctx) : uint32_t{KVRN_PHASE_PASS};
}

// A copy counts as it reads.
uint32_t takenof(const qha5ctx *ctx) {
    const bool bylines = countslate(ctx) && ctx->function != KVRN_COPY;
    return bylines ? ctx->selectcount + ctx->seqno : ctx->incount;
}

KVRNSTAT countersof(qha5ctx *ctx) {
    KVRNSTAT now = {};
    now.phase = phaseof(ctx);
    now.taken = ctx->intotal.follow(takenof(ctx));
    now.delivered = ctx->outtotal.follow(ctx->outcount);
    now.rejected = ctx->droptotal.follow(ctx->selectcount);
    now.suppressed = ctx->suppresscount;
    now.summed = ctx->sumcount;
    now.strings = ctx->stringcount;
    now.datablocks = ctx->datawbcount;
    now.spills = ctx->spillcount;
    now.tempfiles = ctx->tempcount;
    now.tempbytes = ctx->tempbytes;
    now.tempreads = ctx->tempreads;
    now.tempwrites = ctx->tempwrites;
    now.inbytes = ctx->inbytes;
    now.outbytes = ctx->outbytes;
    now.syscode = ctx->kept.syscode;
    return now;
}

int fillcounters(qha5ctx *ctx, KVRNSTAT *stat) {
    uint32_t size;
    if ((ctx == nullptr) || (stat == nullptr))
        return KVRN_FAILED;
    memcpy(&size, stat, sizeof size);
    if (size < sizeof size)
        return KVRN_FAILED;
    KVRNSTAT now = countersof(ctx);
    now.size = std::min<uint32_t>(size, sizeof now);
    memcpy(static_cast<void *>(stat), &now, now.size);
    return KVRN_DONE;
}

// The text so far; a path may hold a line end, the text does not.
struct textbuffer {
    char *bytes;
    unsigned room; // without the end
    unsigned used;
    bool cut;

    void put(char c) {
        if (c == '\r' || c == '\n')
            return;
        if (used == room)
            cut = true;
        else
            bytes[used++] = c;
    }
};

int copymessage(const qha5ctx *ctx, char *text, unsigned room) {
    if ((ctx == nullptr) || (text == nullptr) || room == 0)
        return KVRN_FAILED;
    textbuffer out = {text, room - 1, 0, false};
    const keptmessage &kept = ctx->kept;
    if (kept.number != 0 && kept.number < msgrows && (ctx->msgtable != nullptr))
        formatmessage(out, ctx->msgtable[kept.number], kept.args, kept.argc);
    text[out.used] = '\0';
    return out.cut ? KVRN_ENDED : KVRN_DONE;
}

} // namespace

} // namespace kvern

extern "C" {

KVERN_EXPORTED int KVRN_CALL kvrnstat(KVRNSESS *sess, KVRNSTAT *stat) {
    return kvern::fillcounters(kvern::sessionof(sess), stat);
}

KVERN_EXPORTED int KVRN_CALL kvrntext(KVRNSESS *sess, char *text, unsigned room) {
    return kvern::copymessage(kvern::sessionof(sess), text, room);
}

} // extern "C"
