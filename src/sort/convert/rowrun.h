// Walks over the key table that every `encode` and every output routine ends in.
//
// The most common table of all has keys whose bytes are only reversed and copies of
// everything else.  For it the walks call nothing: the rows are a run of reversals
// and a run of copies, and which rows they are was found at set-up (isplaintable).
//
//   | seq | reversals up to keycount | copies up to count |
#pragma once

#include "key/encode/coding.h"
#include "key/encode/plainkeys.h"
#include "session/context.h"

#include <algorithm>
#include <cstring>

namespace kvern {

inline const keyentry *rowsbegin(const keytab *table) {
    return table->entry;
}
inline const keyentry *rowsend(const keytab *table) {
    return table->entry + table->count;
}

inline int32_t encoderows(qha5ctx *ctx, const uint8_t *image, uint8_t *internal) {
    const keyentry *end = rowsend(ctx->keytable);
    for (const keyentry *row = rowsbegin(ctx->keytable); row != end; ++row)
        if (row->encoder(ctx, internal + row->dst, image + row->src, *row, row->len) == -1)
            return -1;
    return 0;
}

// Text rows: row->len is only the room that the key has for the field.
template <typename Locate>
int32_t textrows(qha5ctx *ctx, uint8_t *internal, Locate locate) {
    const keyentry *end = rowsend(ctx->keytable);
    for (const keyentry *row = rowsbegin(ctx->keytable); row != end; ++row) {
        const textspan text = locate(*row);
        if (row->encoder(ctx, internal + row->dst, text.start, *row, text.length) == -1)
            return -1;
    }
    return 0;
}

// src is a column; behind the line's end there are zeros.
inline int32_t columnrows(qha5ctx *ctx, const uint8_t *text, uint8_t *internal) {
    return textrows(ctx, internal, [text](const keyentry &row) {
        return textspan{text + row.src, row.len};
    });
}

// src is a row of keyfields.
inline int32_t fieldrows(qha5ctx *ctx, const uint8_t *text, uint8_t *internal) {
    return textrows(ctx, internal, [ctx, text](const keyentry &row) {
        const fieldrow &field = ctx->keyfields[row.src];
        return textspan{text + field.offset, std::min(row.len, field.length)};
    });
}

inline void decoderows(const qha5ctx *ctx, const uint8_t *internal, uint8_t *image) {
    const keyentry *end = rowsend(ctx->keytable);
    for (const keyentry *row = rowsbegin(ctx->keytable); row != end; ++row)
        if (row->decoder != nullptr)
            row->decoder(image + row->src, internal + row->dst, *row);
}

// ---- the plain table --------------------------------------------------------

inline bool isplaintable(const qha5ctx *ctx) {
    if (ctx->keytable == nullptr)
        return false;
    constexpr coding key = coded<keyform::reversed>;
    constexpr coding gap = coded<keyform::carried>;
    const keyentry *const begin = rowsbegin(ctx->keytable);
    const keyentry *const keysend = begin + ctx->keycount;
    for (const keyentry *row = begin + (ctx->keeporder ? 1 : 0); row < keysend; ++row)
        if (row->encoder != key.encoder || row->decoder != key.decoder)
            return false;
    for (const keyentry *row = keysend; row < rowsend(ctx->keytable); ++row)
        if (row->encoder != gap.encoder || row->decoder != gap.decoder)
            return false;
    return true;
}

// Gaps are mostly longer than a key and shorter than what a call of memcpy is good
// for: sixteen bytes go at a time, the last of them overlapping the ones before.
inline void copygap(uint8_t *to, const uint8_t *from, uint32_t n) {
    constexpr uint32_t unit = 16;
    constexpr uint32_t most = 16 * unit;
    if (n < unit || n > most) {
        memcpy(to, from, n);
        return;
    }
    for (uint32_t i = 0; i + unit < n; i += unit)
        memcpy(to + i, from + i, unit);
    memcpy(to + (n - unit), from + (n - unit), unit);
}

template <bool sequenced>
inline void encodeplain(const qha5ctx *ctx, const uint8_t *image, uint8_t *internal) {
    const keyentry *row = rowsbegin(ctx->keytable);
    const keyentry *const keysend = row + ctx->keycount;
    const keyentry *const end = rowsend(ctx->keytable);
    if constexpr (sequenced) {
        memcpy(internal, &ctx->seqno, sizeof ctx->seqno);
        ++row;
    }
    for (; row != keysend; ++row)
        copyreversed(internal + row->dst, image + row->src, row->len, flipoforder(row->order));
    for (; row != end; ++row)
        copygap(internal + row->dst, image + row->src, row->len);
}

template <bool sequenced>
inline void decodeplain(const qha5ctx *ctx, const uint8_t *internal, uint8_t *image) {
    const keyentry *row = rowsbegin(ctx->keytable) + (sequenced ? 1 : 0);
    const keyentry *const keysend = rowsbegin(ctx->keytable) + ctx->keycount;
    const keyentry *const end = rowsend(ctx->keytable);
    for (; row != keysend; ++row)
        copyreversed(image + row->src, internal + row->dst, row->len, flipoforder(row->order));
    for (; row != end; ++row)
        copygap(image + row->src, internal + row->dst, row->len);
}

} // namespace kvern
