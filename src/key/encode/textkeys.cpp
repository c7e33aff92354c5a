// Character fields of text lines.  What counts is the text that is there, at most the
// field's room in the key; what is left below it is zero, so a
// shorter text of equal beginning comes first:
//
//   "ab " in a room of 5   00 00 20 62 61, ascending
//
// Numeric text is aligned to the right and filled with "0":
//
//   "  -12x"   complement of "00012", with 00 on top    room 6
//
// The slot may hold the key of an earlier record.  Options 2 and 4 keep what they let
// through and clear all below it before the next option works; both together are one
// compaction of that kind.  So a key never depends on what was there: decided, since
// else records of equal text would compare by those that had the slot before.

#include "key/encode/textkeys.h"

#include "key/encode/reversal.h"

#include <cstring>

namespace kvern::keyform {

namespace {

constexpr uint8_t casebit = 32;

constexpr bool isdigit(uint8_t byte) {
    return byte >= '0' && byte <= '9';
}

void complement(uint8_t *slot, uint32_t length) {
    for (uint32_t i = 0; i < length; ++i)
        slot[i] = static_cast<uint8_t>(~slot[i]);
}

// Puts the field reversed under the slot's top, less what the options drop, and
// clears the rest.  Returns the bytes of text.
uint32_t placetext(uint8_t *slot, uint32_t room, textspan text, uint8_t options) {
    uint32_t used = 0;
    if (options & (KVRN_TXT_ALNUM | KVRN_TXT_PRINTABLE)) {
        const uint32_t kept = keptclasses(options);
        for (uint32_t i = 0; i < text.length; ++i)
            if (iskept(kept, TBL_CLASS, text.start[i]))
                slot[room - ++used] = text.start[i];
    } else {
        used = text.length;
        copyreversed(slot + (room - used), text.start, used, flipnone);
    }
    memset(slot, 0, room - used);
    return used;
}

void foldcase(uint8_t *slot, uint32_t length) {
    for (uint32_t i = 0; i < length; ++i)
        if (TBL_CLASS[slot[i]] == class_lower)
            slot[i] ^= casebit;
}

// Makes a number of the `used` bytes of text under the slot's top.  Only what
// stands before the first digit is cleaned: a character behind it, such as a
// decimal point, is compared as the byte that it is (intended).
void makenumber(uint8_t *slot, uint32_t room, uint32_t used) {
    while (used > 0 && !isdigit(slot[room - used]))
        --used;
    memmove(slot, slot + (room - used), used);
    memset(slot + used, '0', room - used);

    bool negative = false;
    for (uint32_t i = used; i > 0 && !isdigit(slot[i - 1]); --i) {
        negative = negative || slot[i - 1] == '-';
        slot[i - 1] = '0';
    }
    if (negative) {
        complement(slot, room - 1);
        slot[room - 1] = 0;
    }
}

// Places the text and applies all options.  True: the slot holds a number.
bool fillslot(uint8_t *slot, textspan text, const keyfield &field) {
    const uint32_t room = field.len;
    const uint8_t options = field.options;
    const uint32_t used = placetext(slot, room, usedtext(text, field), options);
    if (options & KVRN_TXT_FOLD)
        foldcase(slot, room);
    if (!(options & KVRN_TXT_NUMERIC))
        return false;
    makenumber(slot, room, used);
    return true;
}

} // namespace

int32_t linetext::encode(const qha5ctx *, uint8_t *key, textspan text, const keyfield &field) {
    fillslot(key, text, field);
    if (isdescending(field.order))
        complement(key, field.len);
    return codedlength(field.len);
}

// A number is not translated, and its order has no effect: it always ascends
// (intended).
int32_t recodedtext::encode(const qha5ctx *, uint8_t *key, textspan text, const keyfield &field) {
    if (fillslot(key, text, field))
        return codedlength(field.len);
    const uint8_t flip = flipoforder(field.order);
    for (uint32_t i = 0; i < field.len; ++i)
        key[i] = static_cast<uint8_t>(field.table[key[i]] ^ flip);
    return codedlength(field.len);
}

} // namespace kvern::keyform
