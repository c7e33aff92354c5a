// The one comparison of the engine.  The key areas of two internal records are
// unsigned little-endian integers of keylen bytes (a multiple of 4): the byte at
// the highest address weighs most.  Comparing eight bytes at a time from the top
// gives the same order as four at a time, since both read the same integer.
//
// Here and wherever else words are read out of keys, blocks and files the machine's
// order of bytes is taken for granted, so that a build for another one must not come
// to an end: it would sort wrong without a word.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "the engine needs a little-endian machine");

namespace kvern {

inline uint32_t loadword(const uint8_t *p) {
    uint32_t word;
    memcpy(&word, p, sizeof word);
    return word;
}
inline uint64_t loadwide(const uint8_t *p) {
    uint64_t word;
    memcpy(&word, p, sizeof word);
    return word;
}

// Negative, 0 or positive as a is below, equal to or above b.
inline int keycompare(const uint8_t *a, const uint8_t *b, uint32_t keylen) {
    uint32_t at = keylen;
    while (at >= 8) {
        at -= 8;
        const uint64_t wa = loadwide(a + at);
        const uint64_t wb = loadwide(b + at);
        if (wa != wb)
            return wa < wb ? -1 : 1;
    }
    if (at != 0) {
        const uint32_t wa = loadword(a);
        const uint32_t wb = loadword(b);
        if (wa != wb)
            return wa < wb ? -1 : 1;
    }
    return 0;
}

inline bool keybelow(const uint8_t *a, const uint8_t *b, uint32_t keylen) {
    return keycompare(a, b, keylen) < 0;
}

} // namespace kvern
