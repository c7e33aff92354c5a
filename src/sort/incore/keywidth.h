// The comparison of keycompare.h with the width of the key known at compile time.
// Routines that compare for every record are instantiated for the common widths and
// chosen once, at set-up, from a table whose last row serves every other width.
#pragma once

#include "sort/incore/keycompare.h"

#include <cstddef>

namespace kvern {

template <uint32_t width>
inline int comparewidth(const uint8_t *a, const uint8_t *b) {
    static_assert(width % 4 == 0);
    if constexpr (width >= 8) {
        const uint64_t wa = loadwide(a + width - 8);
        const uint64_t wb = loadwide(b + width - 8);
        if (wa != wb)
            return wa < wb ? -1 : 1;
        return comparewidth<width - 8>(a, b);
    } else if constexpr (width == 4) {
        const uint32_t wa = loadword(a);
        const uint32_t wb = loadword(b);
        return wa == wb ? 0 : wa < wb ? -1 : 1;
    } else {
        return 0;
    }
}

// Compares keys of `width` bytes; width 0: of any one width, told when it is made.
template <uint32_t width>
struct keyorder {
    explicit keyorder(uint32_t) {}
    static constexpr uint32_t length() { return width; }
    static int compare(const uint8_t *a, const uint8_t *b) { return comparewidth<width>(a, b); }
};
template <>
struct keyorder<0> {
    explicit keyorder(uint32_t keylen) : bytes(keylen) {}
    uint32_t length() const { return bytes; }
    int compare(const uint8_t *a, const uint8_t *b) const { return keycompare(a, b, bytes); }
    uint32_t bytes;
};

// The whole key as one number, for widths that a machine has numbers for; keys of
// such a width are chosen between without a branch.
#ifdef __SIZEOF_INT128__
__extension__ using widestnumber = unsigned __int128;
#else
using widestnumber = uint64_t;
#endif

template <uint32_t width>
concept isnumber = width != 0 && width <= sizeof(widestnumber);

template <uint32_t width, typename Number = widestnumber> // a 32-bit target never shifts
requires isnumber<width>
inline auto keynumber(const uint8_t *key) {
    if constexpr (width == 4)
        return loadword(key);
    else if constexpr (width == 8)
        return loadwide(key);
    else {
        const uint64_t low = width == 12 ? loadword(key) : loadwide(key);
        return Number{loadwide(key + width - 8)} << 64 | low;
    }
}

template <typename Routine>
struct widthrow {
    uint32_t keylen; // 0: any
    Routine routine;
};

template <typename Routine, size_t rows>
constexpr Routine forwidth(const widthrow<Routine> (&table)[rows], uint32_t keylen) {
    for (const widthrow<Routine> &row : table)
        if (row.keylen == keylen)
            return row.routine;
    return table[rows - 1].routine;
}

} // namespace kvern
