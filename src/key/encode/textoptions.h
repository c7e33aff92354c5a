// What the text encoders share: the options of a text key that drop characters.
#pragma once

#include "key/encode/chartables.h"
#include "kvern.h"

namespace kvern {

// The field less its leading blanks and tabs, if the options ask for that.
struct textspan {
    const uint8_t *start;
    uint32_t length;
};

inline textspan skipblanks(const uint8_t *text, uint32_t length, uint8_t options) {
    if (options & KVRN_TXT_SKIPBLANKS)
        while (length > 0 && (*text == ' ' || *text == '\t'))
            ++text, --length;
    return {text, length};
}

// The character classes that the options keep, one bit a class.  Letters, digits
// and blanks are printable, so where both options are set the first decides.
inline uint32_t keptclasses(uint8_t options) {
    constexpr uint32_t alnum = 1u << class_lower | 1u << class_alnum;
    constexpr uint32_t printable = alnum | 1u << class_other;
    constexpr uint32_t all = printable | 1u << class_control;
    return options & KVRN_TXT_ALNUM ? alnum : options & KVRN_TXT_PRINTABLE ? printable : all;
}

inline bool iskept(uint32_t kept, const chartable &classes, uint8_t byte) {
    return (kept >> classes[byte] & 1u) != 0;
}

} // namespace kvern
