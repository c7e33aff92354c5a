// Fixed tables of 256 bytes, indexed by a byte value: character classes for the
// options of text keys, and conversions between ASCII and EBCDIC, which let data
// of one code be ordered by the other.
//
// The number in a conversion's name is `altmode`, the variant of the EBCDIC
// side: 0 Latin letters in both cases, 1 kana in place of lower case, 2 as 0
// with the places of "$" and the yen sign exchanged.  Bytes without a
// counterpart fall together, at 0x1A or 0x3F, so no conversion can be undone.
#pragma once

#include <cstdint>

namespace kvern {

struct chartable {
    uint8_t code[256];
    constexpr uint8_t operator[](uint8_t byte) const { return code[byte]; }
};

enum charclass : uint8_t {
    class_control = 0, // dropped by KVRN_TXT_PRINTABLE and KVRN_TXT_ALNUM
    class_lower = 1,   // folded by KVRN_TXT_FOLD
    class_alnum = 2,   // blank, digit, upper case letter
    class_other = 3,   // other printable, dropped by KVRN_TXT_ALNUM
};

// All are constexpr where they are defined, which the checker does not see here.
// NOLINTBEGIN(bugprone-dynamic-static-initializers)
extern const chartable TBL_CLASS;
extern const chartable TBL_CLASSK; // Shift-JIS: lead bytes are printable

extern const chartable TBL_E2A0, TBL_E2A1, TBL_E2A2;
extern const chartable TBL_A2E0, TBL_A2E1, TBL_A2E2;
// NOLINTEND(bugprone-dynamic-static-initializers)

} // namespace kvern
