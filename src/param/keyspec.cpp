// The key table's entries, checked and placed one by one.
#include "param/fieldspec.h"

#include "key/keytable.h"
#include "param/fieldlimits.h"
#include "param/levels.h"
#include "param/tablecopy.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

constexpr uint32_t translationbytes = 256;

// Fields of rebuilt lines are those that the rebuild table names.  This walk
// alone runs upwards, and before the table of rows is taken: a count whose rows
// could not be taken anyway is refused before an entry is read.
int checknumbers(qha5ctx *ctx, const KVRNKEY *table) {
    if (uint64_t{table->count} * sizeof(keyentry) > ctx->arenafree)
        return failstale(ctx, msg_nostorage, KVRN_D_STORAGE);
    for (uint32_t i = 0; i < table->count; i++) {
        if (table->entry[i].position <= ctx->keymaxfld)
            continue;
        ctx->keymaxfld = table->entry[i].position;
        if (ctx->reconopt && ctx->keymaxfld > ctx->reconmaxfld)
            return refusekey(ctx, i);
    }
    return 0;
}

bool insiderecord(const qha5ctx *ctx, const KVRNKEYE &key) {
    if (ctx->fieldmode == KVRN_FIELDS)
        return true;
    const uint32_t bytes = key.type == KVRN_MASKBYTE ? 1 : key.length;
    return uint64_t{key.position} + bytes <= ctx->outreclen;
}

bool keyfits(const qha5ctx *ctx, const KVRNKEYE &key) {
    if (istext(ctx) &&
        ((key.type != KVRN_CHAR && key.type != KVRN_COLLATE && key.type != KVRN_CHARX) ||
         ctx->cdmode == KVRN_CD_EBCDIC))
        return false;
    if (key.type == KVRN_CHARX && (ctx->level < 4 || key.kanjiconv != 0))
        return false;
    if (key.order != KVRN_ASCENDING && key.order != KVRN_DESCENDING)
        return false;
    return fieldfits(fielduse::key, key.type, key.length) && insiderecord(ctx, key);
}

int addkey(qha5ctx *ctx, tablebuilder &builder, const KVRNKEYE &key, uint32_t number) {
    if (!keyfits(ctx, key))
        return refusekey(ctx, number);
    const bool oldbinary = quirks::littleubebin(ctx->version) && key.type == KVRN_UBEBIN;
    const uint8_t type = oldbinary ? uint8_t{KVRN_SLEBIN} : key.type;
    keyentry *row = builder.addkey(key.position, {.len = key.length,
                                                  .type = type,
                                                  .options = key.textoption,
                                                  .order = key.order,
                                                  .kanjiconv = key.kanjiconv});
    if (row == nullptr)
        return -1;
    if (key.kanjiconv == KVRN_KANJI_JIS)
        ctx->dbcs = dbcsaware;
    if (key.type == KVRN_TABLED) {
        if (key.table == nullptr)
            return refusekey(ctx, number);
        row->table = copybytes(ctx, key.table, translationbytes);
        return row->table != nullptr ? 0 : -1;
    }
    if (key.type == KVRN_MASKBYTE) {
        const uint8_t mask[4] = {static_cast<uint8_t>(key.length)};
        row->table = copybytes(ctx, mask, sizeof(mask));
        row->len = 1;
        return row->table != nullptr ? 0 : -1;
    }
    return 0;
}

// The numeric bit of the whole-record key stands one place apart in KVRNPRIM.
uint8_t wholeoptions(const qha5ctx *ctx, const KVRNPRIM *prim) {
    if (ctx->level < 1)
        return 0; // the caller's block ends before the byte
    constexpr uint8_t same =
        KVRN_TXT_SKIPBLANKS | KVRN_TXT_ALNUM | KVRN_TXT_PRINTABLE | KVRN_TXT_FOLD;
    const bool numeric = (prim->keyoption & KVRN_KEYOPT_NUMERIC) != 0;
    return static_cast<uint8_t>((prim->keyoption & same) | (numeric ? KVRN_TXT_NUMERIC : 0));
}

int addwhole(qha5ctx *ctx, tablebuilder &builder, const KVRNPRIM *prim) {
    const bool ebcdic = ctx->cdmode == KVRN_CD_EBCDIC;
    if (ebcdic && (ctx->level < 4 || ctx->keyoption2 != 0))
        return refusekey(ctx, 0);
    const keyfield whole = {.len = ctx->outreclen,
                            .type = ebcdic ? uint8_t{KVRN_CHARX} : uint8_t{KVRN_CHAR},
                            .options = wholeoptions(ctx, prim),
                            .order =
                                ctx->descall ? uint8_t{KVRN_DESCENDING} : uint8_t{KVRN_ASCENDING},
                            .kanjiconv = ctx->keyoption2};
    return builder.addkey(0, whole) != nullptr ? 0 : -1;
}

} // namespace

int readkeys(qha5ctx *ctx, const KVRNPRIM *prim, const KVRNKEY *table, const KVRNSUM *sum) {
    const uint32_t count = table != nullptr ? table->count : 0;
    if (ctx->fieldmode == KVRN_FIELDS && count != 0 && checknumbers(ctx, table) != 0)
        return -1;
    ctx->keygiven = count != 0;
    tablebuilder builder(ctx);
    if (builder.begin(count, sum != nullptr ? sum->count : 0) != 0)
        return -1;
    if (count == 0 && addwhole(ctx, builder, prim) != 0)
        return -1;
    for (uint32_t i = count; i-- != 0;)
        if (addkey(ctx, builder, table->entry[i], i) != 0)
            return -1;
    if (sum != nullptr && count == 0)
        return failstale(ctx, msg_samefields, KVRN_D_SAMEFIELD); // no key to sum by
    return builder.finish(sum);
}

} // namespace kvern
