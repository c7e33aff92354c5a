// Option analysis.  The order of the calls in readoptions is the order of the
// tests: of several faults the caller is told the first.  A field above the
// session's level is never read, since an older caller's block ends before it.
#include "param/steps.h"

#include "param/levels.h"
#include "session/arena.h"
#include "session/qha9msg.h"

#include <cstring>

namespace kvern {
namespace {

constexpr uint8_t bothrecords = 225; // old spelling of "one record per call, both ways"

int badoption(qha5ctx *ctx, const char *field) {
    return fail(ctx, msg_prim, KVRN_D_PRIM, field);
}

int readfunction(qha5ctx *ctx, const KVRNPRIM *prim) {
    if (prim->function != KVRN_SORT && prim->function != KVRN_MERGE && prim->function != KVRN_COPY)
        return badoption(ctx, "function");
    ctx->function = prim->function;
    if (prim->recform != KVRN_FIXED && prim->recform != KVRN_VARIABLE)
        return badoption(ctx, "recform");
    ctx->recform = prim->recform;
    return 0;
}

// Part of the same-file mask beside a standard stream is tolerated and ignored.
int readfileoprat(qha5ctx *ctx, KVRNPRIM *prim) {
    if (ctx->level == 0 && (prim->fileoprat & 1) != 0)
        prim->fileoprat = prim->fileoprat | KVRN_SAMEFILE;
    const bool same = (prim->fileoprat & KVRN_SAMEFILE) == KVRN_SAMEFILE;
    ctx->stdoutopt = (prim->fileoprat & KVRN_STDOUT) != 0;
    ctx->stdinopt = (prim->fileoprat & KVRN_STDIN) != 0;
    if (prim->fileoprat != 0 && !same && !ctx->stdoutopt && !ctx->stdinopt)
        return badoption(ctx, "fileoprat");
    ctx->samefile = same;
    return 0;
}

// Level 0 refuses a block on one side alone, but not in a sum with the other.
int readrecoprat(qha5ctx *ctx, KVRNPRIM *prim) {
    if (ctx->level == 0 && (prim->recoprat == KVRN_PUT_BLOCK || prim->recoprat == KVRN_GET_BLOCK))
        return badoption(ctx, "recoprat");
    if (prim->recoprat == bothrecords)
        prim->recoprat = KVRN_PUT_RECORD | KVRN_GET_RECORD;
    switch (prim->recoprat) {
    case 0:
    case KVRN_PUT_RECORD:
    case KVRN_GET_RECORD:
    case KVRN_PUT_RECORD | KVRN_GET_RECORD:
    case KVRN_PUT_BLOCK:
    case KVRN_PUT_BLOCK | KVRN_GET_RECORD:
    case KVRN_GET_BLOCK:
    case KVRN_PUT_RECORD | KVRN_GET_BLOCK:
    case KVRN_PUT_BLOCK | KVRN_GET_BLOCK:
        ctx->recoprat = prim->recoprat;
        return 0;
    default:
        return badoption(ctx, "recoprat");
    }
}

void readbits(qha5ctx *ctx, const KVRNPRIM *prim) {
    ctx->inreclen = prim->reclen;
    ctx->mergecount = prim->mergecnt;
    const uint8_t bits = prim->options;
    ctx->keeporder = (bits & KVRN_KEEPORDER) != 0;
    ctx->sumopt = (bits & KVRN_SUM) != 0;
    ctx->suppressopt = (bits & KVRN_SUPPRESS) != 0;
    ctx->msgprint = (bits & KVRN_MSGPRINT) != 0;
    if (ctx->level < 1)
        return;
    ctx->selectopt = (bits & KVRN_SELECT) != 0;
    ctx->reconopt = (bits & KVRN_RECONSTRUCT) != 0;
    ctx->descall = (bits & KVRN_DESCENDALL) != 0;
}

// The test of keyoption2 runs also where that byte holds the line delimiter, so
// that a delimiter of 2 or 3 there switches the conversion on: intended, callers
// of that version know it so.
int readkeybits(qha5ctx *ctx, const KVRNPRIM *prim) {
    if (ctx->level < 2)
        return 0;
    ctx->keyoption2 = prim->keyoption2 & KVRN_KANJI_JIS;
    if (ctx->keyoption2 != 0)
        ctx->dbcs = dbcsaware;
    if (ctx->keyoption2 != 0 && (prim->keyoption & KVRN_KEYOPT_NUMERIC) != 0)
        return badoption(ctx, "keyoption");
    return 0;
}

int readcodes(qha5ctx *ctx, const KVRNPRIM *prim) {
    if (ctx->level >= 1) {
        ctx->tmpoption = prim->tmpopt;
        if (prim->cdmode != 0 &&
            (prim->cdmode < KVRN_CD_EBCDIC || prim->cdmode > KVRN_CD_OVERPUNCH))
            return badoption(ctx, "cdmode");
        if (prim->cdmode == KVRN_CD_EBCDIC && ctx->level < 4)
            return badoption(ctx, "cdmode");
        ctx->cdmode = prim->cdmode;
    }
    if (ctx->cdmode == 0)
        ctx->cdmode = KVRN_CD_ZONE5;
    if (ctx->level >= 4) {
        if (prim->altmode > 2)
            return badoption(ctx, "altmode");
        ctx->altmode = prim->altmode;
    }
    return 0;
}

int readdelimiter(qha5ctx *ctx, const KVRNPRIM *prim) {
    struct delimiter {
        uint8_t bytes[3];
        uint8_t length;
    };
    static constexpr delimiter delimiters[] = {
        {{'\r', '\n', 0}, 2}, {{'\n', 0, 0}, 1}, {{'\r', 0, 0}, 1}, {{'\r', '\n', 0}, 2}};
    const uint8_t code = quirks::delimiter39(ctx->version) ? prim->keyoption2 : prim->linedlmt;
    if (code >= sizeof(delimiters) / sizeof(delimiters[0]))
        return badoption(ctx, "linedlmt");
    memcpy(ctx->linedlmt, delimiters[code].bytes, sizeof(ctx->linedlmt));
    ctx->linedlmtlen = delimiters[code].length;
    return 0;
}

// Kept for every session, text or not.
int readseparator(qha5ctx *ctx, const KVRNPRIM *prim) {
    const char *given = prim->separator;
    if (given != nullptr)
        for (const char *at = given; *at != 0; at++)
            if (strncmp(at, reinterpret_cast<const char *>(ctx->linedlmt), ctx->linedlmtlen) == 0)
                return badoption(ctx, "linedlmt");
    const char *copy = arenatext(ctx, given != nullptr ? given : " ");
    if (copy == nullptr)
        return -1;
    ctx->sepstr = reinterpret_cast<const uint8_t *>(copy);
    ctx->seplen = static_cast<uint32_t>(strlen(copy));
    ctx->sepgiven = given != nullptr;
    return 0;
}

// Text lines are variable records with a field mode, and ASCII only.
int readfieldmode(qha5ctx *ctx, const KVRNPRIM *prim) {
    if (prim->fieldmode == 0)
        return 0;
    if (prim->fieldmode != KVRN_FIELDS && prim->fieldmode != KVRN_COLUMNS)
        return badoption(ctx, "fieldmode");
    if (ctx->recform != KVRN_VARIABLE)
        return badoption(ctx, "recform");
    ctx->recform = 'r';
    ctx->fieldmode = prim->fieldmode;
    return ctx->cdmode == KVRN_CD_EBCDIC ? badoption(ctx, "cdmode") : 0;
}

} // namespace

int readoptions(qha5ctx *ctx, KVRNPRIM *prim) {
    if (readfunction(ctx, prim) != 0 || readfileoprat(ctx, prim) != 0 ||
        readrecoprat(ctx, prim) != 0)
        return -1;
    readbits(ctx, prim);
    if (readkeybits(ctx, prim) != 0 || readcodes(ctx, prim) != 0)
        return -1;
    if (ctx->level < 1)
        return 0; // no delimiter, no text records
    if (readdelimiter(ctx, prim) != 0 || readseparator(ctx, prim) != 0)
        return -1;
    return readfieldmode(ctx, prim);
}

} // namespace kvern
