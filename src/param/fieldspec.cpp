// Sum and rebuild tables, the output record length, and the order of the four.
#include "param/fieldspec.h"

#include "param/fieldlimits.h"
#include "param/tablecopy.h"
#include "sort/record/recordform.h"

namespace kvern {
namespace {

// A text number is summed in text lines only, everything else outside of them.
bool sumfieldfits(const qha5ctx *ctx, const KVRNSUME &field) {
    return fieldfits(fielduse::sum, field.type, field.length) &&
           (field.type == KVRN_CHAR) == istext(ctx);
}

int keeppiece(qha5ctx *ctx, KVRNRCNE &piece, uint32_t entry) {
    if (piece.literal == nullptr)
        return refuserecon(ctx, entry);
    piece.literal = copybytes(ctx, piece.literal, piece.length);
    return piece.literal != nullptr ? 0 : -1;
}

int readpiece(qha5ctx *ctx, KVRNRCNE &piece, uint32_t entry) {
    if ((piece.type != KVRN_FLD_COPY && piece.type != KVRN_FLD_LIT) || piece.length == 0)
        return refuserecon(ctx, entry);
    if (piece.type == KVRN_FLD_LIT)
        return keeppiece(ctx, piece, entry);
    ctx->reconcopies = true;
    if (ctx->fieldmode == KVRN_FIELDS)
        raise(ctx->reconmaxfld, piece.position);
    return 0;
}

// Saturated: a length that does not fit is beyond any internal record, which the
// key table refuses.
uint32_t rebuiltlength(const qha5ctx *ctx) {
    const KVRNRCN &spec = *ctx->reconspec;
    uint64_t total = 0;
    for (uint32_t i = 0; i < spec.count; i++)
        total += spec.entry[i].length;
    if (ctx->fieldmode == KVRN_FIELDS) // a separator between the fields
        total += uint64_t{spec.count - 1} * ctx->seplen;
    return total < UINT32_MAX ? static_cast<uint32_t>(total) : UINT32_MAX;
}

} // namespace

int readsum(qha5ctx *ctx, const KVRNSUM *table) {
    if (table == nullptr || table->count == 0)
        return refusesum(ctx, 0);
    ctx->sumspec = newtable<sumtable>(ctx, table->count);
    if (ctx->sumspec == nullptr)
        return -1;
    ctx->sumspec->count = table->count;
    for (uint32_t i = table->count; i-- != 0;)
        if (!sumfieldfits(ctx, table->entry[i]))
            return refusesum(ctx, i);
    return 0;
}

int readrecon(qha5ctx *ctx, const KVRNRCN *table) {
    if (table == nullptr || table->count == 0)
        return refuserecon(ctx, 0);
    ctx->reconspec = copytable(ctx, table);
    if (ctx->reconspec == nullptr)
        return -1;
    for (uint32_t i = ctx->reconspec->count; i-- != 0;)
        if (readpiece(ctx, ctx->reconspec->entry[i], i) != 0)
            return -1;
    ctx->outreclen = rebuiltlength(ctx);
    return 0;
}

int readfields(qha5ctx *ctx, const KVRNPRIM *prim, const KVRNKEY *keys, const KVRNOPT *opts) {
    static constexpr KVRNOPT none{};
    if (opts == nullptr)
        opts = &none;
    const KVRNSUM *sum = ctx->sumopt ? opts->sum : nullptr;
    if (ctx->sumopt && readsum(ctx, sum) != 0)
        return -1;
    if (ctx->reconopt) {
        if (readrecon(ctx, opts->rcn) != 0)
            return -1;
    } else {
        // A record length below the delimiter's is refused later, by its own name.
        const uint32_t delimiter = istext(ctx) ? ctx->linedlmtlen : 0;
        ctx->outreclen = ctx->inreclen > delimiter ? ctx->inreclen - delimiter : 0;
    }
    if (ctx->selectopt && readselection(ctx, opts->sel) != 0)
        return -1;
    return readkeys(ctx, prim, keys, sum);
}

} // namespace kvern
