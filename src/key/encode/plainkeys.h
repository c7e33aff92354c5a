// Fields without a sign: copied, reversed, masked or translated.  What is most
// significant first in the record comes out reversed, since the most significant
// byte of a key stands highest:
//
//   "ABC"   41 42 43   reversed, ascending    43 42 41
//                      reversed, descending   BC BD BE
#pragma once

#include "key/encode/reversal.h"
#include "key/key_fields.h"

namespace kvern::keyform {

// What is no key stays as it is, whatever the order.
struct carried {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        memcpy(key, source, field.len);
        return codedlength(field.len);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        memcpy(target, key, field.len);
    }
};

struct reversed {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        copyreversed(key, source, field.len, flipoforder(field.order));
        return codedlength(field.len);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        encode(target, key, field);
    }
};

// Least significant byte first is how a key lies.
struct straight {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        copyflipped(key, source, field.len, flipoforder(field.order));
        return codedlength(field.len);
    }
    static void decode(uint8_t *target, const uint8_t *key, const keyfield &field) {
        encode(target, key, field);
    }
};

struct masked {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        key[0] = static_cast<uint8_t>((source[0] & field.table[0]) ^ flipoforder(field.order));
        return codedlength(field.len);
    }
};

// By the caller's table, or by that of the other code.
struct translated {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        const uint8_t *const table = field.table;
        const uint8_t flip = flipoforder(field.order);
        const uint32_t length = field.len;
        for (uint32_t i = 0; i < length; ++i)
            key[length - 1 - i] = static_cast<uint8_t>(table[source[i]] ^ flip);
        return codedlength(length);
    }
};

// Reserved types pass the analysis and end the session at the first record.
struct reserved {
    static int32_t encode(uint8_t *, const uint8_t *, const keyfield &) { return -1; }
};

} // namespace kvern::keyform
