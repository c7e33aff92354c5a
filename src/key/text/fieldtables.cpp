#include "key/text/fieldtables.h"

#include <algorithm>

namespace kvern {
namespace {

uint32_t delimiterrows(const qha5ctx *ctx) {
    return std::max<uint32_t>(ctx->linedlmtlen, 1);
}

uint64_t rowsfor(const qha5ctx *ctx, uint32_t maxfield) {
    return uint64_t{maxfield} + delimiterrows(ctx);
}

// Of a rebuilt line each piece is a field, whatever field it came from, and a key
// may name a field behind the last piece.
uint64_t keyrows(const qha5ctx *ctx) {
    const uint64_t named = rowsfor(ctx, ctx->keymaxfld);
    if (!ctx->reconopt)
        return named;
    return std::max({named, rowsfor(ctx, ctx->reconmaxfld), uint64_t{ctx->reconspec->count}});
}

// Without keys the line, less its delimiter, is the one field.
fieldrow wholeline(const qha5ctx *ctx) {
    const uint32_t longest = ctx->reconopt ? ctx->outreclen : ctx->inreclen;
    return {0, longest > ctx->linedlmtlen ? longest - ctx->linedlmtlen : 0};
}

} // namespace

int layoutscratch(qha5ctx *ctx, workspace &space, uint32_t bytes, uint32_t detail) {
    ctx->keyscratch = carve<uint8_t>(ctx, space, bytes, detail);
    return ctx->keyscratch != nullptr ? 0 : -1;
}

int layoutsumrows(qha5ctx *ctx, workspace &space) {
    const uint64_t rows = rowsfor(ctx, ctx->summaxfld);
    ctx->sumfields1 = carve<fieldaddr>(ctx, space, rows * 2);
    if (ctx->sumfields1 == nullptr)
        return -1;
    ctx->sumfields2 = ctx->sumfields1 + rows;
    return 0;
}

int layoutrows(qha5ctx *ctx, workspace &space, uint32_t spare, uint32_t detail) {
    const auto table = [&](uint32_t maxfield) {
        return carve<fieldrow>(ctx, space, uint64_t{maxfield} + spare, detail);
    };
    if (ctx->selectopt && (ctx->selfields = table(ctx->selmaxfld)) == nullptr)
        return -1;
    if (ctx->reconopt && (ctx->reconfields = table(ctx->reconmaxfld)) == nullptr)
        return -1;
    return 0;
}

int layouttables(qha5ctx *ctx, workspace &space) {
    if (layoutrows(ctx, space, delimiterrows(ctx), KVRN_D_STORAGE) != 0)
        return -1;
    ctx->keyfields = carve<fieldrow>(ctx, space, keyrows(ctx));
    if (ctx->keyfields == nullptr)
        return -1;
    if (!ctx->keygiven)
        ctx->keyfields[0] = wholeline(ctx);
    return 0;
}

} // namespace kvern
