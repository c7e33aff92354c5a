// The routines of a key row by its type and by the session's form and code.
#include "key/wiring.h"

#include "key/encode/encoders.h"
#include "key/encode/zonesign.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

enum class form : uint8_t { any, text, bytes };
enum class code : uint8_t { any, ebcdic, ascii };
enum class kanji : uint8_t { any, jis, other };

// What chooses among the encoders of a row.  A value without a column has none.
enum class column : uint8_t { one, bycdmode, byaltmode };
constexpr uint32_t columncount = cdmodes;

struct wirerow {
    uint8_t type;
    form ofform;
    code ofcode;
    kanji ofkanji;
    column chosen;
    coder encoder[columncount];
    coder decoder;
};

constexpr uint8_t ET_CARRIED = 236; // carried like ET_RAW

// The first row that fits a key row holds.  Text has no decoders: the line is
// kept whole.
constexpr wirerow wirings[] = {
    // clang-format off
    {KVRN_CHAR, form::text, code::any, kanji::jis, column::one, {enc_kanji}, nullptr},
    {KVRN_CHAR, form::text, code::any, kanji::other, column::one, {enc_text}, nullptr},
    {KVRN_CHAR, form::bytes, code::ebcdic, kanji::any, column::byaltmode,
        {enc_e2a0, enc_e2a1, enc_e2a2}, dec_none},
    {KVRN_CHAR, form::bytes, code::ascii, kanji::any, column::one, {enc_rev}, dec_rev},
    {KVRN_ZONED, form::any, code::any, kanji::any, column::bycdmode,
        {enc_ztrail_e, enc_ztrail_5, enc_ztrail_7, enc_ztrail_o}, dec_ztrail},
    {KVRN_ZONEDU, form::any, code::any, kanji::any, column::bycdmode,
        {enc_ztrail_e, enc_ztrail_5, enc_ztrail_7, enc_ztrail_o}, dec_ztrail},
    {KVRN_SIGNLEAD, form::any, code::any, kanji::any, column::bycdmode,
        {enc_lead_e, enc_lead, enc_lead, enc_lead}, dec_lead},
    {KVRN_SIGNTRAIL, form::any, code::any, kanji::any, column::bycdmode,
        {enc_trail_e, enc_trail, enc_trail, enc_trail}, dec_trail},
    {KVRN_ZONEDLEAD, form::any, code::any, kanji::any, column::bycdmode,
        {enc_zlead_e, enc_zlead_5, enc_zlead_7, enc_zlead_o}, dec_zlead},
    {KVRN_UBIN1, form::any, code::any, kanji::any, column::one, {enc_rev}, dec_rev},
    {KVRN_UBIN2, form::any, code::any, kanji::any, column::one, {enc_rev}, dec_rev},
    {KVRN_UBEBIN, form::any, code::any, kanji::any, column::one, {enc_rev}, dec_rev},
    {KVRN_ULEBIN, form::any, code::any, kanji::any, column::one, {enc_same}, dec_same},
    {KVRN_CHARX, form::any, code::ebcdic, kanji::any, column::one, {enc_rev}, dec_rev},
    {KVRN_CHARX, form::text, code::ascii, kanji::any, column::one, {enc_textx}, nullptr},
    {KVRN_CHARX, form::bytes, code::ascii, kanji::any, column::byaltmode,
        {enc_a2e0, enc_a2e1, enc_a2e2}, dec_none},
    {KVRN_MASKBYTE, form::any, code::any, kanji::any, column::one, {enc_mask}, dec_none},
    {KVRN_SBEBIN, form::any, code::any, kanji::any, column::one, {enc_bebin}, dec_bebin},
    {KVRN_FLOAT4, form::any, code::any, kanji::any, column::one, {enc_float}, dec_float},
    {KVRN_FLOAT8, form::any, code::any, kanji::any, column::one, {enc_float}, dec_float},
    {KVRN_PACKED, form::any, code::any, kanji::any, column::one, {enc_packed}, dec_packed},
    {KVRN_SLEBIN, form::any, code::any, kanji::any, column::one, {enc_lebin}, dec_lebin},
    {KVRN_TABLED, form::any, code::any, kanji::any, column::one, {enc_table}, dec_none},
    {KVRN_COLLATE, form::text, code::any, kanji::any, column::one, {enc_none}, nullptr},
    {KVRN_COLLATE, form::bytes, code::any, kanji::any, column::one, {enc_none}, dec_none},
    {KVRN_WIDE2, form::any, code::any, kanji::any, column::one, {enc_none}, dec_none},
    {KVRN_WIDE4, form::any, code::any, kanji::any, column::one, {enc_none}, dec_none},
    {ET_CARRIED, form::any, code::any, kanji::any, column::one, {enc_copy}, enc_copy},
    {ET_RAW, form::any, code::any, kanji::any, column::one, {enc_copy}, enc_copy},
    {ET_SEQ, form::any, code::any, kanji::any, column::one, {enc_seq}, dec_none},
    // clang-format on
};

bool rowfits(const wirerow &wiring, const qha5ctx *ctx, const keyentry &row) {
    const form session = istext(ctx) ? form::text : form::bytes;
    const code data = ctx->cdmode == KVRN_CD_EBCDIC ? code::ebcdic : code::ascii;
    const kanji key = row.kanjiconv == KVRN_KANJI_JIS ? kanji::jis : kanji::other;
    return wiring.type == row.type && (wiring.ofform == form::any || wiring.ofform == session) &&
           (wiring.ofcode == code::any || wiring.ofcode == data) &&
           (wiring.ofkanji == kanji::any || wiring.ofkanji == key);
}

coder chooseencoder(const wirerow &wiring, const qha5ctx *ctx) {
    uint32_t at = 0;
    if (wiring.chosen == column::bycdmode)
        at = cdcolumn(ctx->cdmode);
    else if (wiring.chosen == column::byaltmode)
        at = ctx->altmode;
    return at < columncount ? wiring.encoder[at] : nullptr;
}

int wirerowof(qha5ctx *ctx, keyentry &row) {
    for (const wirerow &wiring : wirings)
        if (rowfits(wiring, ctx, row)) {
            row.encoder = chooseencoder(wiring, ctx);
            row.decoder = wiring.decoder;
            return row.encoder != nullptr ? 0 : faillogic(ctx);
        }
    return faillogic(ctx);
}

} // namespace

int wire(qha5ctx *ctx) {
    for (uint32_t i = 0; i < ctx->keytable->count; i++)
        if (wirerowof(ctx, ctx->keytable->entry[i]) != 0)
            return -1;
    return 0;
}

} // namespace kvern
