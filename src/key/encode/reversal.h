// Byte copies that every encoder and decoder is made of: as they stand or in
// reversed order, each byte XORed with `flip`, which is 0x00 or 0xFF.  Key
// fields are mostly short, so eight bytes go at a time and the rest as one load
// that overlaps the one before.  Source and destination never overlap.
#pragma once

#include "kvern.h"

#include <cstdint>
#include <cstring>

namespace kvern {

constexpr uint8_t flipnone = 0x00;
constexpr uint8_t flipall = 0xFF;

constexpr uint8_t flipof(bool complemented) {
    return complemented ? flipall : flipnone;
}
constexpr bool isdescending(uint8_t order) {
    return order == KVRN_DESCENDING;
}
constexpr uint8_t flipoforder(uint8_t order) {
    return flipof(isdescending(order));
}
constexpr int32_t codedlength(uint32_t length) {
    return static_cast<int32_t>(length);
}

inline uint64_t swapped(uint64_t word) {
    return __builtin_bswap64(word);
}
inline uint32_t swapped(uint32_t word) {
    return __builtin_bswap32(word);
}

template <typename Word>
inline void moveword(uint8_t *to, const uint8_t *from, uint8_t flip, bool reversed) {
    constexpr Word ones = static_cast<Word>(~Word{0});
    Word word;
    memcpy(&word, from, sizeof word);
    word ^= flip != flipnone ? ones : Word{0};
    if (reversed)
        word = swapped(word);
    memcpy(to, &word, sizeof word);
}

// to[n - 1 - i] = from[i] ^ flip
inline void copyreversed(uint8_t *to, const uint8_t *from, uint32_t n, uint8_t flip) {
    if (n >= 8) {
        for (uint32_t i = 0; i + 8 < n; i += 8)
            moveword<uint64_t>(to + (n - 8 - i), from + i, flip, true);
        moveword<uint64_t>(to, from + (n - 8), flip, true);
    } else if (n >= 4) {
        moveword<uint32_t>(to + (n - 4), from, flip, true);
        moveword<uint32_t>(to, from + (n - 4), flip, true);
    } else {
        for (uint32_t i = 0; i < n; ++i)
            to[n - 1 - i] = static_cast<uint8_t>(from[i] ^ flip);
    }
}

// to[i] = from[i] ^ flip
inline void copyflipped(uint8_t *to, const uint8_t *from, uint32_t n, uint8_t flip) {
    if (n >= 8) {
        for (uint32_t i = 0; i + 8 < n; i += 8)
            moveword<uint64_t>(to + i, from + i, flip, false);
        moveword<uint64_t>(to + (n - 8), from + (n - 8), flip, false);
    } else {
        for (uint32_t i = 0; i < n; ++i)
            to[i] = static_cast<uint8_t>(from[i] ^ flip);
    }
}

} // namespace kvern
