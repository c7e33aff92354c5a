#include "key/keytypes.h"

#include "key/encode/binarykeys.h"
#include "key/encode/chartables.h"
#include "key/encode/coding.h"
#include "key/encode/decimalkeys.h"
#include "key/encode/plainkeys.h"
#include "key/encode/textkeys.h"
#include "session/qha9msg.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

using namespace keyform;

struct keytype {
    uint8_t type;
    uint8_t factor = 1; // normal form: length * factor + extra bytes
    uint8_t extra = 0;
    lostbytes lost = {0, 0};
    codings bytes = {};      // fixed and variable records
    coding text = {};        // text records; the line is kept whole, so nothing is decoded
    coding kanjitext = text; // the same by JIS code
};

constexpr keytype keytypes[] = {
    // clang-format off
    {.type = KVRN_CHAR, .bytes = bycharset<translated, reversed>,
        .text = coded<linetext>, .kanjitext = coded<kanjitext>},
    {.type = KVRN_CHARX, .bytes = bycharset<reversed, translated>, .text = coded<recodedtext>},
    {.type = KVRN_TABLED, .bytes = everycode<translated>},
    {.type = KVRN_MASKBYTE, .factor = 0, .extra = 1, .bytes = everycode<masked>},
    {.type = KVRN_UBIN1, .bytes = everycode<reversed>},
    {.type = KVRN_UBIN2, .bytes = everycode<reversed>},
    {.type = KVRN_UBEBIN, .bytes = everycode<reversed>},
    {.type = KVRN_ULEBIN, .bytes = everycode<straight>},
    {.type = KVRN_SBEBIN, .bytes = everycode<bigendian>},
    {.type = KVRN_SLEBIN, .bytes = everycode<littleendian>},
    {.type = KVRN_FLOAT4, .extra = 1, .bytes = everycode<floating>},
    {.type = KVRN_FLOAT8, .extra = 1, .bytes = everycode<floating>},
    {.type = KVRN_ZONED, .extra = 1, .lost = {0, 1}, .bytes = bysign<zonedlast>},
    {.type = KVRN_ZONEDU, .extra = 1, .lost = {0, 1}, .bytes = bysign<zonedlast>},
    {.type = KVRN_ZONEDLEAD, .extra = 1, .lost = {1, 0}, .bytes = bysign<zonedfirst>},
    {.type = KVRN_PACKED, .extra = 1, .lost = {0, 1}, .bytes = everycode<packed>},
    {.type = KVRN_SIGNLEAD, .extra = 1, .lost = {1, 0},
        .bytes = bycharset<signfirst<ebcdicminus>, signfirst<asciiminus>>},
    {.type = KVRN_SIGNTRAIL, .extra = 1, .lost = {0, 1},
        .bytes = bycharset<signlast<ebcdicminus>, signlast<asciiminus>>},
    {.type = KVRN_COLLATE, .factor = 12, .bytes = everycode<reserved>, .text = coded<reserved>},
    {.type = KVRN_WIDE2, .factor = 12, .bytes = everycode<reserved>},
    {.type = KVRN_WIDE4, .factor = 12, .bytes = everycode<reserved>},
    // clang-format on
};

// Of a type that has no row: no routine, the width of the field.
constexpr keytype unknown = {.type = 0};

const keytype &keytypeof(uint8_t type) {
    for (const keytype &row : keytypes)
        if (row.type == type)
            return row;
    return unknown;
}

coding chosencoding(const qha5ctx *ctx, const keyentry &row) {
    const keytype &type = keytypeof(row.type);
    if (istext(ctx))
        return row.kanjiconv == KVRN_KANJI_JIS ? type.kanjitext : type.text;
    return codingfor(type.bytes, ctx->cdmode);
}

// The order of the code that the data is not in, by altmode.
const uint8_t *othercode(const qha5ctx *ctx) {
    constexpr const chartable *ofebcdic[] = {&TBL_E2A0, &TBL_E2A1, &TBL_E2A2};
    constexpr const chartable *ofascii[] = {&TBL_A2E0, &TBL_A2E1, &TBL_A2E2};
    return (ctx->cdmode == KVRN_CD_EBCDIC ? ofebcdic : ofascii)[ctx->altmode]->code;
}

struct sequence {
    // The row has no source bytes: its length is 0, and so is the result.
    static int32_t encode(const qha5ctx *ctx, uint8_t *key, textspan, const keyfield &field) {
        memcpy(key, &ctx->seqno, sizeof ctx->seqno);
        return codedlength(field.len);
    }
};

void setcoding(keyentry &row, const coding &chosen) {
    row.encoder = chosen.encoder;
    row.decoder = chosen.decoder;
}

} // namespace

// The bit alone makes a character field wide; whether it is encoded by JIS code
// hangs on the whole byte.  Intended: the upper half then stays zero.
uint64_t normalwidth(const keyfield &field) {
    if (field.type == KVRN_CHAR && (field.kanjiconv & KVRN_KANJI_JIS) != 0)
        return uint64_t{field.len} * 2;
    const keytype &type = keytypeof(field.type);
    return uint64_t{field.len} * type.factor + type.extra;
}

lostbytes lostof(uint8_t type) {
    return keytypeof(type).lost;
}

void codesequence(keyentry &row) {
    setcoding(row, coded<sequence>);
}

void codecarried(keyentry &row) {
    setcoding(row, coded<carried>);
}

int wirekey(qha5ctx *ctx, keyentry &row) {
    setcoding(row, chosencoding(ctx, row));
    if (row.table == nullptr)
        row.table = othercode(ctx);
    return row.encoder != nullptr ? 0 : faillogic(ctx);
}

} // namespace kvern
