// What the sign of a decimal number looks like in each code of data: the one place
// for the encoders of keys, the comparators of selection and the adders of
// summation.
//
// A zoned number has a digit in the low nibble of every byte; the zone, the high
// nibble, of its first or last byte holds the sign:
//
//   code of data  plain digit  negative when               a sum writes +     -
//   EBCDIC        F0           zone B or D                 C0                 D0
//   zone 5        30           zone 5                      40                 50
//   zone 7        30           zone 7                      30                 70
//   overpunch     30           "}" is -0, "J".."R" -1..-9  "{" "A".."I"       "}" "J".."R"
//
// A policy has these members, all of them for one byte:
//   filler           zone of a plain digit
//   negative(byte)   the sign byte says minus
//   digit(byte)      the sign byte as a plain digit, zone `filler`
//   value(byte)      its digit alone; above 9 in bad data
//   marked(v, minus) the digit v with the sign that a sum gives it
#pragma once

#include "kvern.h"

#include <cstdint>

namespace kvern {

constexpr uint8_t zoneof(uint8_t byte) {
    return byte & 0xF0;
}
constexpr uint8_t digitof(uint8_t byte) {
    return byte & 0x0F;
}
constexpr uint8_t withzone(uint8_t zone, uint8_t byte) {
    return static_cast<uint8_t>(zone | digitof(byte));
}

struct ebcdicsign {
    static constexpr uint8_t filler = 0xF0;

    static constexpr bool negative(uint8_t byte) {
        return zoneof(byte) == 0xB0 || zoneof(byte) == 0xD0;
    }
    static constexpr uint8_t digit(uint8_t byte) { return withzone(filler, byte); }
    static constexpr uint8_t value(uint8_t byte) { return digitof(byte); }
    static constexpr uint8_t marked(uint8_t value, bool minus) {
        return withzone(minus ? 0xD0 : 0xC0, value);
    }
};

struct asciizone {
    static constexpr uint8_t filler = 0x30;
};

template <uint8_t NegativeZone, uint8_t PositiveMark>
struct asciisign : asciizone {
    static constexpr bool negative(uint8_t byte) { return zoneof(byte) == NegativeZone; }
    static constexpr uint8_t digit(uint8_t byte) { return withzone(filler, byte); }
    static constexpr uint8_t value(uint8_t byte) { return digitof(byte); }
    static constexpr uint8_t marked(uint8_t value, bool minus) {
        return withzone(minus ? NegativeZone : PositiveMark, value);
    }
};
// A sum marks its positive numbers with zone 4 (intended): no reader takes that
// for a minus.
using zone5sign = asciisign<0x50, 0x40>;
using zone7sign = asciisign<0x70, 0x30>;

// "{" and "A" to "I" are +0 to +9, "}" and "J" to "R" -0 to -9.
struct overpunchsign : asciizone {
    static constexpr bool negativedigit(uint8_t byte) { return byte >= 'J' && byte <= 'R'; }
    static constexpr bool negative(uint8_t byte) { return byte == '}' || negativedigit(byte); }
    static constexpr uint8_t digit(uint8_t byte) {
        if (byte == '{' || byte == '}')
            return '0';
        if (negativedigit(byte))
            return static_cast<uint8_t>(byte - ('J' - '1'));
        return withzone(filler, byte);
    }
    static constexpr uint8_t value(uint8_t byte) { return digitof(digit(byte)); }
    // A value above 9 comes of bad data and has no letter: its mark stays a zone.
    static constexpr uint8_t marked(uint8_t value, bool minus) {
        const uint8_t zoned = withzone(minus ? 0x50 : 0x40, value);
        if (digitof(value) == 0)
            return minus ? '}' : '{';
        return minus && digitof(value) <= 9 ? static_cast<uint8_t>(zoned - (0x51 - 'J')) : zoned;
    }
};

// The four policies as the columns of a table by cdmode, in this order:
// ebcdicsign, zone5sign, zone7sign, overpunchsign.
constexpr uint32_t cdmodes = 4;
constexpr uint32_t cdcolumn(uint8_t cdmode) {
    return uint32_t{cdmode} - KVRN_CD_EBCDIC; // below the first wraps: no column
}

// Packed decimal, the same in every code of data: two digits a byte, the sign in
// the low nibble of the last one.
struct packedsign {
    static constexpr bool negative(uint8_t last) {
        return digitof(last) == 0x0B || digitof(last) == 0x0D;
    }
    // The last byte of a sum: one digit, and the sign.
    static constexpr uint8_t marked(uint8_t value, bool minus) {
        return static_cast<uint8_t>(value << 4 | (minus ? 0x0D : 0x0C));
    }
};

} // namespace kvern
