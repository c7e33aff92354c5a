// Field positions against the record and against each other.  Entries are walked
// last to first.  All sums of caller numbers are made in 64 bits.
//
// With fields by number a position is a field's number, yet number + length is
// bounded like a byte position: intended, callers live with it.
#include "param/steps.h"

#include "key/keytable.h"
#include "param/fieldspec.h"
#include "session/arena.h"
#include "sort/record/recordform.h"

#include <cstring>

namespace kvern {
namespace {

// position + length within the record; *highest takes the last byte's position.
bool inside(uint32_t position, uint32_t length, uint32_t reclen, uint32_t *highest) {
    const uint64_t end = uint64_t{position} + length;
    if (end == 0 || end > reclen)
        return false;
    raise(*highest, static_cast<uint32_t>(end - 1));
    return true;
}

// ---- literals of text lines ----------------------------------------------

bool isblank(uint8_t byte) {
    return byte == ' ';
}
bool isblankortab(uint8_t byte) {
    return byte == ' ' || byte == '\t';
}

// The delimiter is looked for up to the literal's end or its first zero byte.
bool holdsdelimiter(const qha5ctx *ctx, const uint8_t *text, uint32_t length) {
    const void *zero = memchr(text, 0, length);
    if (zero != nullptr)
        length = static_cast<uint32_t>(static_cast<const uint8_t *>(zero) - text);
    for (uint32_t i = 0; uint64_t{i} + ctx->linedlmtlen <= length; i++)
        if (memcmp(text + i, ctx->linedlmt, ctx->linedlmtlen) == 0)
            return true;
    return false;
}

// Inside a field by number nothing may separate.  The last place where the
// caller's separator would fit is not looked at: intended.
bool holdsbreak(const qha5ctx *ctx, const uint8_t *text, uint32_t length,
                bool (*skipped)(uint8_t)) {
    uint32_t i = 0;
    if (ctx->sepgiven) {
        for (; uint64_t{i} + ctx->seplen < length; i++)
            if (memcmp(text + i, ctx->sepstr, ctx->seplen) == 0)
                return true;
        return false;
    }
    while (i < length && skipped(text[i]))
        i++;
    for (; i < length; i++)
        if (isblankortab(text[i]))
            return true;
    return false;
}

// A literal that would break the line or the field that it becomes.
bool breakstext(const qha5ctx *ctx, const void *literal, uint32_t length,
                bool (*skipped)(uint8_t)) {
    if (!istext(ctx))
        return false;
    const uint8_t *text = static_cast<const uint8_t *>(literal);
    return holdsdelimiter(ctx, text, length) ||
           (ctx->fieldmode == KVRN_FIELDS && holdsbreak(ctx, text, length, skipped));
}

// ---- summation -----------------------------------------------------------

struct extent {
    uint32_t position;
    uint32_t length;
};

// Position in the source record: the rows of the summation fields stand right
// behind those of the key; text lines have none.
extent sumextent(const qha5ctx *ctx, uint32_t field) {
    if (istext(ctx))
        return {ctx->sumspec->entry[field].position, ctx->sumspec->entry[field].length};
    const keyentry &row = ctx->keytable->entry[ctx->keycount + field];
    return {row.src, row.len};
}

bool shared(const qha5ctx *ctx, const extent &a, const extent &b) {
    if (ctx->fieldmode == KVRN_FIELDS)
        return a.position == b.position;
    return a.position < uint64_t{b.position} + b.length &&
           b.position < uint64_t{a.position} + a.length;
}

// Against the fields below it, then against the keys.
bool collides(const qha5ctx *ctx, uint32_t field, const extent &place) {
    for (uint32_t i = field; i-- != 0;)
        if (shared(ctx, place, sumextent(ctx, i)))
            return true;
    for (uint32_t i = ctx->keycount; i-- != 0;) {
        const keyentry &row = ctx->keytable->entry[i];
        if (shared(ctx, place, {row.src, row.len}))
            return true;
    }
    return false;
}

// ---- selection -----------------------------------------------------------

// Types that compare with each other are of one group; all of type 199 compare
// with literals only.
enum pairgroup : uint8_t {
    pg_none,
    pg_char,
    pg_charx,
    pg_wide,
    pg_mask,
    pg_sbebin,
    pg_ubebin,
    pg_decimal,
    pg_signed,
    pg_zonedlead
};

struct operandrow {
    uint8_t type;
    pairgroup group;
    uint8_t factor; // work length = length * factor + extra
    uint8_t extra;
};
constexpr operandrow operands[] = {
    {KVRN_CHAR, pg_char, 1, 0},        {KVRN_CHARX, pg_charx, 1, 0},
    {KVRN_COLLATE, pg_wide, 12, 0},    {KVRN_WIDE2, pg_wide, 12, 0},
    {KVRN_WIDE4, pg_wide, 12, 0},      {KVRN_MASKBYTE, pg_mask, 1, 0},
    {KVRN_SBEBIN, pg_sbebin, 1, 0},    {KVRN_UBEBIN, pg_ubebin, 1, 0},
    {KVRN_SLEBIN, pg_none, 1, 0},      {KVRN_PACKED, pg_decimal, 1, 1},
    {KVRN_ZONED, pg_decimal, 1, 1},    {KVRN_SIGNLEAD, pg_signed, 1, 0},
    {KVRN_SIGNTRAIL, pg_signed, 1, 0}, {KVRN_ZONEDLEAD, pg_zonedlead, 1, 1},
    {KVRN_ZONEDU, pg_zonedlead, 1, 1},
};

const operandrow &operandof(uint8_t type) {
    for (const operandrow &row : operands)
        if (row.type == type)
            return row;
    static constexpr operandrow other{0, pg_none, 1, 0};
    return other;
}

bool comparable(const KVRNSELE &cond) {
    if (cond.rtype == KVRN_FLD_LIT)
        return true;
    const pairgroup group = operandof(cond.ltype).group;
    return group != pg_none && group == operandof(cond.rtype).group;
}

// A character comparison runs on the data's own code.
bool codefits(const qha5ctx *ctx, uint8_t type) {
    const bool ebcdic = ctx->cdmode == KVRN_CD_EBCDIC;
    return !(type == KVRN_CHAR && ebcdic) && !(type == KVRN_CHARX && !ebcdic);
}

bool conditionfits(qha5ctx *ctx, const KVRNSELE &cond) {
    if (!codefits(ctx, cond.ltype) || !comparable(cond) ||
        !inside(cond.lpos, cond.llen, ctx->inreclen, &ctx->selmaxpos))
        return false;
    if (cond.rtype == KVRN_FLD_LIT)
        return !breakstext(ctx, cond.rlit, cond.rlen, isblankortab);
    return inside(cond.rpos, cond.rlen, ctx->inreclen, &ctx->selmaxpos);
}

// The left type decides for both operands.  Lengths are 256 at most here.
void measureoperands(qha5ctx *ctx, const KVRNSELE &cond) {
    operandrow row = operandof(cond.ltype);
    if (istext(ctx) && cond.ltype == KVRN_CHAR && cond.kanjiconv == KVRN_KANJI_JIS) {
        ctx->dbcs = dbcsaware;
        row.factor = 2;
    }
    raise(ctx->selmaxlen, cond.llen * row.factor + row.extra);
    raise(ctx->selmaxlen, cond.rlen * row.factor + row.extra);
}

} // namespace

// No new argument: the slots stay as the last report left them.
int checkpieces(qha5ctx *ctx) {
    if (!ctx->reconopt)
        return 0;
    for (uint32_t i = ctx->reconspec->count; i-- != 0;) {
        const KVRNRCNE &piece = ctx->reconspec->entry[i];
        const bool fits =
            piece.type == KVRN_FLD_COPY
                ? inside(piece.position, piece.length, ctx->inreclen, &ctx->reconmaxpos)
                : !breakstext(ctx, piece.literal, piece.length, isblank);
        if (!fits)
            return failstale(ctx, msg_rcnfield, KVRN_D_RCNFIELD);
    }
    return 0;
}

void settlelengths(qha5ctx *ctx) {
    if (istext(ctx))
        ctx->outreclen += ctx->linedlmtlen;
    addlength(ctx);
}

// For 'v' a field's place counts the length word while the record length does
// not, so a field in the last 4 bytes of the longest record is refused: intended.
int checksums(qha5ctx *ctx) {
    if (ctx->recfunc != rf_sum)
        return 0;
    uint64_t total = 0;
    for (uint32_t i = ctx->sumspec->count; i-- != 0;) {
        const extent place = sumextent(ctx, i);
        if ((ctx->sumspec->entry[i].type == KVRN_CHAR && !istext(ctx)) ||
            !inside(place.position, place.length, ctx->outreclen, &ctx->summaxpos))
            return refusesum(ctx, i);
        if (collides(ctx, i, place))
            return failstale(ctx, msg_samefields, KVRN_D_SAMEFIELD);
        total += place.length;
    }
    ctx->sumlen = static_cast<uint32_t>(roundup(total, sizeof(uint32_t)));
    return 0;
}

int checkconditions(qha5ctx *ctx) {
    if (!ctx->selectopt)
        return 0;
    for (uint32_t i = ctx->selspec->count; i-- != 0;) {
        const KVRNSELE &cond = ctx->selspec->entry[i];
        if (!conditionfits(ctx, cond))
            return refuseselection(ctx, i);
        measureoperands(ctx, cond);
    }
    ctx->selmaxlen = static_cast<uint32_t>(roundup(ctx->selmaxlen, sizeof(uint32_t)));
    return 0;
}

} // namespace kvern
