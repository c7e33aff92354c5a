// Two's complement binary and IEEE floating point.  Nothing is lost: each form
// has an exact inverse.
//
// Two's complement orders as unsigned once the sign bit is exchanged, and the
// complement of that is the descending order, so one XOR serves both ways:
//
//   -32768   80 00   bigendian  00 00        -1   FF FF   FF 7F        0   00 80
//
// A floating point number is sign and magnitude: a positive one gets its sign
// bit set, a negative one is complemented whole, so the larger magnitude comes
// lower; -0 sorts right below +0.
#pragma once

#include "key/encode/reversal.h"
#include "key/key_fields.h"

namespace kvern::keyform {

constexpr uint8_t signbit = 0x80;

struct bigendian {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        copyreversed(key, source, field.len, flipoforder(field.order));
        key[field.len - 1] ^= signbit;
        return codedlength(field.len);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        copyreversed(target, key, field.len, flipoforder(field.order));
        target[0] ^= signbit;
    }
};

// Least significant byte first is how a key lies, so this form is its own inverse.
struct littleendian {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        copyflipped(key, source, field.len, flipoforder(field.order));
        key[field.len - 1] ^= signbit;
        return codedlength(field.len);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        encode(target, key, field);
    }
};

struct floating {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        const uint32_t top = field.len - 1;
        const bool negative = (source[top] & signbit) != 0;
        copyflipped(key, source, field.len, flipof(negative != isdescending(field.order)));
        if (!negative)
            key[top] ^= signbit;
        return codedlength(field.len);
    }
    // The top bit tells whether the bytes were complemented.  A number that was
    // positive has its sign bit exchanged on top of that.
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        const uint32_t top = field.len - 1;
        const bool complemented = (key[top] & signbit) == 0;
        copyflipped(target, key, field.len, flipof(complemented));
        if (complemented == isdescending(field.order))
            target[top] &= static_cast<uint8_t>(~signbit);
    }
};

} // namespace kvern::keyform
