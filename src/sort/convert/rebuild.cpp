// Rebuilt encodes: the record is first put together from pieces of the one that
// came and from literals; keys and gaps refer to the rebuilt record.
//
//   pieces 4..5, "-", 0..2 of  A B C D E F   ->   E F - A B C
//
// In a sort or merge the result goes to recwork (text: into the record's own text
// area) and on through the key table; in a copy it is the output record.  All
// pieces together have outreclen bytes (text: less the delimiter), except where
// fields are shorter than the table allows.  That a piece lies inside the longest
// record was tested at set-up; that this record is long enough is tested here.
#include "sort/convert/rebuild.h"

#include "sort/convert/rowrun.h"
#include "sort/record/rawrecord.h"
#include "sort/record/recordform.h"

#include <algorithm>

namespace kvern {
namespace {

const uint8_t *pieceof(const KVRNRCNE &piece, const uint8_t *record) {
    return piece.type == KVRN_FLD_LIT ? static_cast<const uint8_t *>(piece.literal)
                                      : record + piece.position;
}

// Ends a copied line.
void enddelimited(qha5ctx *ctx, uint8_t *line, uint32_t length) {
    memcpy(line + length, ctx->linedlmt, ctx->linedlmtlen);
    ctx->reconlen = length + ctx->linedlmtlen;
}

template <bool copying>
int32_t rebuildfixed(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    joinpieces(*ctx->reconspec, raw, copying ? internal : ctx->recwork);
    if constexpr (!copying)
        if (!countrecord(ctx) || encoderows(ctx, ctx->recwork, internal) == -1)
            return -1;
    return static_cast<int32_t>(ctx->inreclen);
}

template <bool copying>
int32_t rebuildvariable(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    uint32_t length;
    if (!takevariable(ctx, raw, &length) || !holdspieces(ctx, length))
        return -1;
    uint8_t *image = copying ? internal : ctx->recwork;
    memcpy(image, &ctx->outreclen, lengthword);
    joinpieces(*ctx->reconspec, raw + lengthword, image + lengthword);
    if constexpr (!copying)
        if (!countrecord(ctx) || encoderows(ctx, image, internal) == -1)
            return -1;
    return paddedlength(length);
}

template <bool copying>
int32_t rebuildcolumns(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    uint32_t length;
    if (!takeline(ctx, raw, &length) || !lineholds(ctx, length) || !linefits(ctx, length))
        return -1;
    uint8_t *text = copying ? internal : internal + ctx->txtdataoff;
    const uint32_t rebuilt = textroom(ctx);
    joinpieces(*ctx->reconspec, raw, text);
    if constexpr (copying) {
        enddelimited(ctx, text, rebuilt);
    } else {
        memcpy(internal + ctx->txtlenoff, &rebuilt, sizeof rebuilt);
        if (!countrecord(ctx) || columnrows(ctx, text, internal) == -1)
            return -1;
    }
    return static_cast<int32_t>(length + ctx->linedlmtlen);
}

// Joins the pieces with the separator between them; their places go to `rows` where
// that is not null.  The length of the text.
uint32_t joinfields(const qha5ctx *ctx, const uint8_t *raw, uint8_t *text, fieldrow *rows) {
    const KVRNRCN &pieces = *ctx->reconspec;
    uint8_t *out = text;
    for (uint32_t i = 0; i < pieces.count; i++) {
        const KVRNRCNE &piece = pieces.entry[i];
        const uint8_t *bytes = static_cast<const uint8_t *>(piece.literal);
        uint32_t length = piece.length;
        if (piece.type != KVRN_FLD_LIT) {
            const fieldrow &field = ctx->reconfields[piece.position];
            bytes = raw + field.offset;
            length = std::min(length, field.length);
        }
        if (i != 0) {
            memcpy(out, ctx->sepstr, ctx->seplen);
            out += ctx->seplen;
        }
        if (rows != nullptr)
            rows[i] = {static_cast<uint32_t>(out - text), length};
        memcpy(out, bytes, length);
        out += length;
    }
    return static_cast<uint32_t>(out - text);
}

int32_t encodejoined(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    uint8_t *text = internal + ctx->txtdataoff;
    const int32_t length = joinline(ctx, raw, text);
    if (length == -1)
        return -1;
    memcpy(internal + ctx->txtlenoff, &length, sizeof length);
    return countrecord(ctx) ? fieldrows(ctx, text, internal) : -1;
}

template <bool copying>
int32_t rebuildfields(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    uint32_t length;
    if (!findpieces(ctx, raw, &length) || !linefits(ctx, length))
        return -1;
    if constexpr (copying)
        enddelimited(ctx, internal, joinfields(ctx, raw, internal, nullptr));
    else if (encodejoined(ctx, raw, internal) == -1)
        return -1;
    return static_cast<int32_t>(length + ctx->linedlmtlen);
}

struct rebuildset {
    encoderoutine keys; // to an internal record
    encoderoutine copy; // to the output record
};
constexpr rebuildset rebuilds[recordforms] = {
    {rebuildfixed<false>, rebuildfixed<true>},
    {rebuildvariable<false>, rebuildvariable<true>},
    {rebuildcolumns<false>, rebuildcolumns<true>},
    {rebuildfields<false>, rebuildfields<true>},
};

} // namespace

encoderoutine chooserebuild(const qha5ctx *ctx) {
    const rebuildset &set = rebuilds[formof(ctx)];
    return ctx->function == KVRN_COPY ? set.copy : set.keys;
}

// An empty record is refused even where all pieces are literals; intended.
bool holdspieces(qha5ctx *ctx, uint32_t length) {
    return ctx->reconmaxpos < length || fail(ctx, msg_norcnfield, KVRN_D_NORCNFIELD) == 0;
}

// Literals alone can be put together whatever the line holds.
bool lineholds(qha5ctx *ctx, uint32_t length) {
    return !ctx->reconcopies || holdspieces(ctx, length);
}

void joinpieces(const KVRNRCN &pieces, const uint8_t *record, uint8_t *out) {
    for (uint32_t i = 0; i < pieces.count; out += pieces.entry[i++].length)
        memcpy(out, pieceof(pieces.entry[i], record), pieces.entry[i].length);
}

bool findpieces(qha5ctx *ctx, const uint8_t *raw, uint32_t *length) {
    return takefields(ctx, raw, ctx->reconfields, ctx->reconmaxfld, msg_norcnfield,
                      KVRN_D_NORCNFIELD, length);
}

// Keys name the pieces: piece n is field n of the rebuilt line.  The set-up lets
// through a key on a field behind the last piece, so that is found out here.
int32_t joinline(qha5ctx *ctx, const uint8_t *raw, uint8_t *text) {
    const bool keyed = ctx->keygiven;
    if (keyed && ctx->keymaxfld >= ctx->reconspec->count)
        return fail(ctx, msg_nokeyfield, KVRN_D_NOKEYFIELD);
    const uint32_t length = joinfields(ctx, raw, text, keyed ? ctx->keyfields : nullptr);
    memset(text + length, 0, textroom(ctx) - length);
    return static_cast<int32_t>(length);
}

} // namespace kvern
