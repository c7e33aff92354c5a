// Fields of text lines: the forms of their keys, and the options of a text key that drop
// characters.  `field.len` is the room in the key; text beyond it is not looked at.
#pragma once

#include "key/encode/chartables.h"
#include "key/encode/coding.h"
#include "kvern.h"

namespace kvern::keyform {

// In the order of the data's own code (textkeys.cpp).
struct linetext {
    static int32_t encode(const qha5ctx *ctx, uint8_t *key, textspan text, const keyfield &field);
};
// In the order of the other code (textkeys.cpp).
struct recodedtext {
    static int32_t encode(const qha5ctx *ctx, uint8_t *key, textspan text, const keyfield &field);
};
// Shift-JIS text by JIS code, twice the room (kanjikeys.cpp).
struct kanjitext {
    static int32_t encode(const qha5ctx *ctx, uint8_t *key, textspan text, const keyfield &field);
};

// The text that has room, less its leading blanks and tabs if the options ask for that.
inline textspan usedtext(textspan text, const keyfield &field) {
    if (text.length > field.len)
        text.length = field.len;
    if (field.options & KVRN_TXT_SKIPBLANKS)
        while (text.length > 0 && (*text.start == ' ' || *text.start == '\t'))
            ++text.start, --text.length;
    return text;
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

} // namespace kvern::keyform
