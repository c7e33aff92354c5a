// The pair routines.  The sums of all fields are made in sumbuf, one slot a row, and
// copied over the fields only when the last one is done.
//
// Fields by number may be shorter in the line than in the table; such a field grows
// in the first record to the width of its sum, and what stands behind it moves:
//
//   width 3   a,7,b,96   +   a,8,b,5   ->   a,015,b,101
#include "merge/sum/summation.h"

#include "key/encode/zonesign.h"
#include "merge/sum/adders.h"
#include "session/qha9msg.h"
#include "sort/incore/keycompare.h"
#include "sort/record/recordform.h"

#include <algorithm>
#include <cstring>

namespace kvern {
namespace {

// ---- adders by type and code ----------------------------------------------

addresult addunknown(uint8_t *, const uint8_t *, const uint8_t *, uint32_t) {
    return sum_unknown;
}
addresult addcolumns(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return add_text(sum, length, {a, length}, {b, length});
}

// By the number that a row of sumspec keeps.  Some types pass the analysis and have no
// adder, intended: such a session fails when the first pair comes.
constexpr adder adders[] = {addunknown,  addcolumns,  add_packed,  add_sbebin, add_ubebin,
                            add_zoned_e, add_zoned_5, add_zoned_7, add_zoned_o};
enum addernumber : uint8_t { ad_unknown, ad_text, ad_packed, ad_sbebin, ad_ubebin, ad_zoned };
static_assert(sizeof adders / sizeof *adders == ad_zoned + cdmodes);

uint8_t adderfor(const qha5ctx *ctx, uint8_t type) {
    switch (type) {
    case KVRN_CHAR:
        return ad_text;
    case KVRN_PACKED:
        return ad_packed;
    case KVRN_SBEBIN:
        return ad_sbebin;
    case KVRN_UBEBIN:
        return ad_ubebin;
    case KVRN_ZONED:
        if (const uint32_t column = cdcolumn(ctx->cdmode); column < cdmodes)
            return static_cast<uint8_t>(ad_zoned + column);
        return ad_unknown;
    default:
        return ad_unknown;
    }
}

// ---- outcomes --------------------------------------------------------------

enum : int32_t { folded = 0, stopped = 1, failed = -1 };

// Only the caller's block tells of a stop; errdetail keeps a session clean or not.
int32_t stopsum(qha5ctx *ctx, msgno message, uint32_t errdetail, uint32_t told) {
    (void)fail(ctx, message, errdetail);
    ctx->userblk->detail = told;
    return stopped;
}

int32_t stopmissing(qha5ctx *ctx) {
    return stopsum(ctx, msg_nosumfield, 0, KVRN_D_SUMMISSING);
}

// What comes of a pair with a sum that is not done.
int32_t stopundone(qha5ctx *ctx, addresult result) {
    switch (result) {
    case sum_overflow:
        return stopsum(ctx, msg_overflow, 0, KVRN_D_SUMOVERFLOW);
    case sum_unusable:
        return stopsum(ctx, msg_overflow, KVRN_D_SUMOPERAND, KVRN_D_SUMOPERAND);
    default:
        return faillogic(ctx);
    }
}

// ---- fields at a place -----------------------------------------------------

const sumrow *sumsend(const sumtable *rows) {
    return rows->entry + rows->count;
}

// The rows' positions count from `first` and `second`.
int32_t foldplaces(qha5ctx *ctx, uint8_t *first, const uint8_t *second) {
    const sumrow *const end = sumsend(ctx->sumspec);
    uint8_t *sum = ctx->sumbuf;
    for (const sumrow *row = ctx->sumspec->entry; row != end; sum += row->length, row++) {
        const addresult result =
            adders[row->adder](sum, first + row->position, second + row->position, row->length);
        if (result != sum_done)
            return stopundone(ctx, result);
    }
    sum = ctx->sumbuf;
    for (const sumrow *row = ctx->sumspec->entry; row != end; sum += row->length, row++)
        memcpy(first + row->position, sum, row->length);
    return folded;
}

// The record must be longer than the highest position in use, which for a variable
// record counts the length word and so asks for 4 bytes more: intended.
bool reaches(const qha5ctx *ctx, const uint8_t *word) {
    return loadword(word) > ctx->summaxpos;
}

int32_t foldvariable(qha5ctx *ctx, uint8_t *first, const uint8_t *second) {
    if (!reaches(ctx, first + ctx->txtdataoff) || !reaches(ctx, second + ctx->txtdataoff))
        return stopmissing(ctx);
    return foldplaces(ctx, first, second);
}

int32_t foldcolumns(qha5ctx *ctx, uint8_t *first, const uint8_t *second) {
    if (!reaches(ctx, first + ctx->txtlenoff) || !reaches(ctx, second + ctx->txtlenoff))
        return stopmissing(ctx);
    return foldplaces(ctx, first + ctx->txtdataoff, second + ctx->txtdataoff);
}

// ---- fields by number ------------------------------------------------------
// The word of a field of the first text is what it grows by.

bool locatesums(qha5ctx *ctx, const uint8_t *record, fieldaddr *fields) {
    return ctx->fieldscanlen(ctx, record + ctx->txtdataoff, fields, ctx->summaxfld,
                             loadword(record + ctx->txtlenoff)) != -1;
}

textnumber operand(const fieldaddr &field, uint32_t width) {
    return {field.start, std::min(field.length, width)};
}

// Sums to sumbuf, growth to the fields of the first text; *grown is the sum of it.
addresult addnumbered(const qha5ctx *ctx, uint64_t *grown) {
    for (uint32_t i = 0; i <= ctx->summaxfld; i++)
        ctx->sumfields1[i].userword = 0;
    *grown = 0;
    const sumrow *const end = sumsend(ctx->sumspec);
    uint8_t *sum = ctx->sumbuf;
    for (const sumrow *row = ctx->sumspec->entry; row != end; sum += row->length, row++) {
        fieldaddr &field = ctx->sumfields1[row->position];
        if (field.length < row->length)
            field.userword = row->length - field.length;
        *grown += field.userword;
        const addresult result = add_text(sum, row->length, operand(field, row->length),
                                          operand(ctx->sumfields2[row->position], row->length));
        if (result != sum_done)
            return result;
    }
    return sum_done;
}

// Moves the text behind each field that grows, and with it the later fields.
void widen(const qha5ctx *ctx, uint8_t *text, uint32_t length) {
    uint32_t shift = 0;
    for (uint32_t i = 0; i <= ctx->summaxfld; i++) {
        fieldaddr &field = ctx->sumfields1[i];
        field.start += shift;
        if (field.userword == 0)
            continue;
        const auto behind = static_cast<uint32_t>(field.start - text) + field.length;
        memmove(text + behind + field.userword, text + behind, length + shift - behind);
        shift += field.userword;
    }
}

// A line has room for outreclen bytes less its delimiter, in the record and in an
// output block.
int32_t foldnumbered(qha5ctx *ctx, uint8_t *first, const uint8_t *second) {
    if (!locatesums(ctx, first, ctx->sumfields1) || !locatesums(ctx, second, ctx->sumfields2))
        return stopmissing(ctx);
    uint64_t grown;
    const addresult result = addnumbered(ctx, &grown);
    if (result != sum_done)
        return stopundone(ctx, result);
    const uint32_t length = loadword(first + ctx->txtlenoff);
    if (length + grown + ctx->linedlmtlen > ctx->outreclen)
        return stopundone(ctx, sum_overflow);

    uint8_t *const text = first + ctx->txtdataoff;
    widen(ctx, text, length);
    const auto newlength = static_cast<uint32_t>(length + grown);
    memcpy(first + ctx->txtlenoff, &newlength, sizeof newlength);
    const sumrow *const end = sumsend(ctx->sumspec);
    const uint8_t *sum = ctx->sumbuf;
    for (const sumrow *row = ctx->sumspec->entry; row != end; sum += row->length, row++)
        memcpy(text + (ctx->sumfields1[row->position].start - text), sum, row->length);
    return folded;
}

constexpr sumroutine pairroutines[recordforms] = {foldplaces, foldvariable, foldcolumns,
                                                  foldnumbered};

} // namespace

sumroutine choosesum(const qha5ctx *ctx) {
    for (uint32_t i = 0; i < ctx->sumspec->count; i++)
        ctx->sumspec->entry[i].adder = adderfor(ctx, ctx->sumspec->entry[i].type);
    return pairroutines[formof(ctx)];
}

} // namespace kvern
