// Plain encodes: the internal record is made of the record as it comes.
//
//   fixed       | key area | gap pieces |               from the block itself
//   variable    | key area | length | gap pieces |      from recwork, zeros behind
//   text        | key area | line, zero padded | length |
//
// So a key field that lies behind the end of a short record reads zero bytes.
#include "sort/convert/intake.h"

#include "key/text/fieldtables.h"
#include "sort/convert/rebuild.h"
#include "sort/convert/rowrun.h"
#include "sort/record/rawrecord.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

int32_t encodefixed(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    if (!countrecord(ctx) || encoderows(ctx, raw, internal) == -1)
        return -1;
    return static_cast<int32_t>(ctx->inreclen);
}

template <bool sequenced>
int32_t plainfixed(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    if (!countrecord(ctx))
        return -1;
    encodeplain<sequenced>(ctx, raw, internal);
    return static_cast<int32_t>(ctx->inreclen);
}

int32_t encodevariable(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    uint32_t length;
    if (!takevariable(ctx, raw, &length) || !countrecord(ctx))
        return -1;
    memcpy(ctx->recwork, raw, lengthword + length);
    memset(ctx->recwork + lengthword + length, 0, ctx->inreclen - length);
    if (encoderows(ctx, ctx->recwork, internal) == -1)
        return -1;
    return paddedlength(length);
}

// The zeros may reach into the length word, which is therefore stored last.
const uint8_t *placeline(const qha5ctx *ctx, const uint8_t *raw, uint32_t length,
                         uint8_t *internal) {
    uint8_t *text = internal + ctx->txtdataoff;
    memcpy(text, raw, length);
    memset(text + length, 0, ctx->inreclen - length);
    memcpy(internal + ctx->txtlenoff, &length, sizeof length);
    return text;
}

int32_t encodecolumns(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    uint32_t length;
    if (!takeline(ctx, raw, &length) || !linefits(ctx, length) || !countrecord(ctx))
        return -1;
    const uint8_t *text = placeline(ctx, raw, length, internal);
    if (columnrows(ctx, text, internal) == -1)
        return -1;
    return static_cast<int32_t>(length + ctx->linedlmtlen);
}

// Without keys no field is looked for: row 0 of keyfields is the whole line.
template <bool keyed>
int32_t encodefields(qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
    uint32_t length;
    const bool taken = keyed ? takefields(ctx, raw, ctx->keyfields, ctx->keymaxfld, msg_nokeyfield,
                                          KVRN_D_NOKEYFIELD, &length)
                             : takeline(ctx, raw, &length);
    if (!taken || !linefits(ctx, length) || !countrecord(ctx))
        return -1;
    const uint8_t *text = placeline(ctx, raw, length, internal);
    if (fieldrows(ctx, text, internal) == -1)
        return -1;
    return static_cast<int32_t>(length + ctx->linedlmtlen);
}

struct encodeset {
    encoderoutine keyed;   // a key table was given
    encoderoutine unkeyed; // the whole record is the key
};
constexpr encodeset plainencodes[recordforms] = {
    {encodefixed, encodefixed},
    {encodevariable, encodevariable},
    {encodecolumns, encodecolumns},
    {encodefields<true>, encodefields<false>},
};

encoderoutine chooseencode(const qha5ctx *ctx) {
    const recordform form = formof(ctx);
    if (ctx->reconopt)
        return chooserebuild(ctx);
    if (form == form_fixed && isplaintable(ctx))
        return ctx->keeporder ? plainfixed<true> : plainfixed<false>;
    const encodeset &set = plainencodes[form];
    return ctx->keygiven ? set.keyed : set.unkeyed;
}

} // namespace

void wireencode(qha5ctx *ctx) {
    ctx->encode = chooseencode(ctx);
}

int layoutwork(qha5ctx *ctx, workspace &space) {
    // A variable record's image begins with its length word.
    ctx->recwork = carve<uint8_t>(ctx, space, roundup(ctx->outreclen, recordunit) + lengthword);
    if (ctx->recwork == nullptr)
        return -1;
    return layoutscratch(ctx, space, ctx->keylen, KVRN_D_STORAGE);
}

} // namespace kvern
