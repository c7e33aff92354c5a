// Decimal numbers: zoned, packed, and digits with a separate sign.  The digits come out
// reversed, those of a negative number complemented, and the marker of the sign lies on
// top.  Codes of data differ in the policy alone (zonesign.h).
//
//                              ascending                        ascending
//   zoned, EBCDIC  +12  F1 C2     F2 F1 FF       -12   F1 D2       0D 0E 00
//   packed        +123  12 3C     30 12 FF      -123   12 3D       C0 ED 00
//   sign first      -12  2D 31 32  CD CE 00      sign last "12+"    32 31 FF
//
// What tells the sign loses its exact bits: the lowest byte of a zoned or packed key has
// a plain zone or no sign nibble, a separate sign gives its place to the marker.  So the
// sign byte is never written on the way out: another piece of the internal record, an
// exact key row or a gap, always covers it, and a later write from here would spoil what
// that one restored.
#pragma once

#include "key/encode/reversal.h"
#include "key/encode/zonesign.h"
#include "key/key_fields.h"

namespace kvern::keyform {

// ---- the marker -------------------------------------------------------------

// The marker of a number is the complement of its digits' flip.
constexpr uint8_t signflip(bool negative, uint8_t order) {
    return flipof(negative != isdescending(order));
}
constexpr uint8_t markerof(uint8_t flip) {
    return static_cast<uint8_t>(~flip);
}
constexpr uint8_t flipbehind(uint8_t marker) {
    return flipof(marker < 0xFF);
}

// ---- zoned ------------------------------------------------------------------

// Where the sign byte stands in the field and in its reversed copy; the other digits are
// carried as they are.
struct lastbyte {
    static constexpr uint32_t infield(uint32_t length) { return length - 1; }
    static constexpr uint32_t inkey(uint32_t) { return 0; }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        copyreversed(target, key + 1, field.len - 1, flipbehind(key[field.len]));
    }
};
struct firstbyte {
    static constexpr uint32_t infield(uint32_t) { return 0; }
    static constexpr uint32_t inkey(uint32_t length) { return length - 1; }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        copyreversed(target + 1, key, field.len - 1, flipbehind(key[field.len]));
    }
};

template <typename Sign, typename Place>
struct zoned : Place {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        const uint32_t length = field.len;
        const uint8_t signbyte = source[Place::infield(length)];
        const uint8_t flip = signflip(Sign::negative(signbyte), field.order);
        copyreversed(key, source, length, flip);
        key[Place::inkey(length)] = static_cast<uint8_t>(Sign::digit(signbyte) ^ flip);
        key[length] = markerof(flip);
        return codedlength(length + 1);
    }
};
template <typename Sign>
using zonedlast = zoned<Sign, lastbyte>;
template <typename Sign>
using zonedfirst = zoned<Sign, firstbyte>;

// ---- packed -----------------------------------------------------------------

struct packed {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        const uint32_t length = field.len;
        const uint8_t flip = signflip(packedsign::negative(source[length - 1]), field.order);
        copyreversed(key, source, length, flip);
        key[length] = markerof(flip);
        key[0] &= 0xF0; // sign nibbles C and F of equal digits compare equal
        return codedlength(length + 1);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        lastbyte::decode(target, key, field);
    }
};

// ---- separate sign ----------------------------------------------------------
// Only the code's minus makes a number negative, any other byte counts as plus.  The key
// table gives these fields one byte more than they use, which stays as it was.

struct asciiminus {
    static constexpr uint8_t minus = 0x2D;
};
struct ebcdicminus {
    static constexpr uint8_t minus = 0x60;
};

template <typename Code>
int32_t encodesigned(uint8_t *key, uint8_t signbyte, const uint8_t *digits, const keyfield &field) {
    const uint32_t count = field.len - 1;
    const uint8_t flip = signflip(signbyte == Code::minus, field.order);
    copyreversed(key, digits, count, flip);
    key[count] = markerof(flip);
    return codedlength(field.len);
}
inline void decodesigned(uint8_t *digits, const uint8_t *key, const keyfield &field) {
    const uint32_t count = field.len - 1;
    copyreversed(digits, key, count, flipbehind(key[count]));
}

template <typename Code>
struct signfirst {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        return encodesigned<Code>(key, source[0], source + 1, field);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        decodesigned(target + 1, key, field);
    }
};
template <typename Code>
struct signlast {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        return encodesigned<Code>(key, source[field.len - 1], source, field);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        decodesigned(target, key, field);
    }
};

} // namespace kvern::keyform
