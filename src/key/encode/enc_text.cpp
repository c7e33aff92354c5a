// Character fields of text lines.  The field has textlength bytes, at most the
// room of `length` bytes in the key; what is left below the text is zero, so a
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

#include "key/encode/encoders.h"

#include "key/encode/reversal.h"
#include "key/encode/textoptions.h"
#include "session/context.h"

#include <cstring>

namespace kvern {

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
uint32_t placetext(uint8_t *slot, uint32_t room, textspan text, uint8_t options,
                   const chartable &classes) {
    uint32_t used = 0;
    if (options & (KVRN_TXT_ALNUM | KVRN_TXT_PRINTABLE)) {
        const uint32_t kept = keptclasses(options);
        for (uint32_t i = 0; i < text.length; ++i)
            if (iskept(kept, classes, text.start[i]))
                slot[room - ++used] = text.start[i];
    } else {
        used = text.length;
        copyreversed(slot + (room - used), text.start, used, flipnone);
    }
    memset(slot, 0, room - used);
    return used;
}

void foldcase(uint8_t *slot, uint32_t length, const chartable &classes) {
    for (uint32_t i = 0; i < length; ++i)
        if (classes[slot[i]] == class_lower)
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
bool fillslot(uint8_t *slot, const uint8_t *src, uint32_t room, const keyextra &extra,
              const chartable &classes) {
    const uint8_t options = extra.options;
    const uint32_t length = extra.textlength < room ? extra.textlength : room;
    const uint32_t used = placetext(slot, room, skipblanks(src, length, options), options, classes);
    if (options & KVRN_TXT_FOLD)
        foldcase(slot, room, classes);
    if (!(options & KVRN_TXT_NUMERIC))
        return false;
    makenumber(slot, room, used);
    return true;
}

constexpr const chartable *codeorder[] = {&TBL_A2E0T, &TBL_A2E1T, &TBL_A2E2T};

} // namespace

int32_t enc_text(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &extra) {
    fillslot(dst, src, length, extra, TBL_CLASS);
    if (isdescending(order))
        complement(dst, length);
    return codedlength(length);
}

// A number is not translated, and its order has no effect: it always ascends
// (intended).
int32_t enc_textx(qha5ctx *ctx, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &extra) {
    if (fillslot(dst, src, length, extra, TBL_CLASSX))
        return codedlength(length);
    const chartable &table = *codeorder[ctx->altmode];
    const uint8_t flip = flipoforder(order);
    for (uint32_t i = 0; i < length; ++i)
        dst[i] = static_cast<uint8_t>(table[dst[i]] ^ flip);
    return codedlength(length);
}

} // namespace kvern
