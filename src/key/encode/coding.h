// Encoders and decoders of key fields: how a family of them becomes a row of a table.
//
// The key area of an internal record compares as one unsigned little-endian
// integer, so the most significant byte of a field stands HIGHEST.  Descending
// order is the complement of ascending.  A sign sorts in a marker byte on top:
// 0xFF positive, 0x00 negative, complemented for descending.
//
// Left to others: which type has which family (keytypes.cpp, select/comparators.cpp) and
// where the bytes go (keytable.h).  An encoder knows its field and nothing around it.
//
// A family is a struct (plainkeys.h, binarykeys.h, decimalkeys.h, textkeys.h):
//   encode(key, source, field)      of bytes, or
//   encode(ctx, key, text, field)   of text, or with the session
//   decode(target, key, field)      if the source bytes come back
#pragma once

#include "key/encode/zonesign.h"
#include "key/key_fields.h"

#include <array>

namespace kvern {

// A field of a text line: the bytes that are there.
struct textspan {
    const uint8_t *start;
    uint32_t length;
};

template <typename Family>
int32_t encodeby(const qha5ctx *ctx, uint8_t *key, const uint8_t *source, const keyfield &field,
                 uint32_t given) {
    if constexpr (requires { Family::encode(key, source, field); })
        return Family::encode(key, source, field);
    else
        return Family::encode(ctx, key, textspan{source, given}, field);
}

struct coding {
    keyencoder encoder = nullptr;
    keydecoder decoder = nullptr; // null: the source bytes do not come back
};

template <typename Family>
constexpr coding codingof() {
    if constexpr (requires { &Family::decode; })
        return {encodeby<Family>, Family::decode};
    else
        return {encodeby<Family>, nullptr};
}
// Constants all, which the checker does not see in templates.
// NOLINTBEGIN(bugprone-dynamic-static-initializers)
template <typename Family>
constexpr coding coded = codingof<Family>();

// A coding for each code of data: EBCDIC, zone 5, zone 7, overpunch.
using codings = std::array<coding, cdmodes>;

template <typename Family>
constexpr codings everycode = {coded<Family>, coded<Family>, coded<Family>, coded<Family>};
template <typename Ebcdic, typename Ascii>
constexpr codings bycharset = {coded<Ebcdic>, coded<Ascii>, coded<Ascii>, coded<Ascii>};
template <template <typename Sign> typename Family>
constexpr codings bysign = {coded<Family<ebcdicsign>>, coded<Family<zone5sign>>,
                            coded<Family<zone7sign>>, coded<Family<overpunchsign>>};
// NOLINTEND(bugprone-dynamic-static-initializers)

inline constexpr coding nocoding = {};

// Without routines for a code of data that has none.
constexpr const coding &codingfor(const codings &all, uint8_t cdmode) {
    const uint32_t column = cdcolumn(cdmode);
    return column < cdmodes ? all[column] : nocoding;
}

} // namespace kvern
