// Adders: sums of two numbers in a record's own format, exact to the last digit.
//
// The sum has a place of its own, apart from both operands; after anything but
// sum_done what stands there means nothing.  Lengths are 1 or more, and within the
// limits of param/fieldlimits.h.
#pragma once

#include <cstdint>

namespace kvern {

enum addresult : int32_t {
    sum_unknown = -1, // no adder for this type
    sum_done = 0,
    sum_overflow = 1,
    sum_unusable = 2, // an operand is no number
};

using adder = addresult (*)(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);

// Zoned by code of data: EBCDIC, zone 5, zone 7, overpunch.  Nibbles above 9 count
// as what they are, tens carried on.
addresult add_zoned_e(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);
addresult add_zoned_5(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);
addresult add_zoned_7(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);
addresult add_zoned_o(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);
addresult add_packed(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);

addresult add_ubebin(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);
addresult add_sbebin(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length);

struct textnumber {
    const uint8_t *bytes;
    uint32_t length; // at most that of the sum, 0 allowed
};
addresult add_text(uint8_t *sum, uint32_t length, textnumber a, textnumber b);

} // namespace kvern
