// Shift-JIS fields of text lines, compared by JIS code.  Every character becomes
// its row and cell of JIS X 0208, counted from 1; single-byte characters stand
// in row 0, before all others:
//
//   "A"  41      00 41          first kanji  88 9F   row 16, cell 1   10 01
//
// A field has `length` bytes of room and twice that in the key.

#include "key/encode/textkeys.h"

#include "key/encode/reversal.h"
#include "session/context.h"

#include <cstring>

namespace kvern::keyform {

namespace {

struct jiscode {
    uint8_t high;
    uint8_t low;
    uint8_t used; // bytes of the text
};

// Two lead bytes share 94 * 2 cells: an odd row below the second byte 0x9F, an
// even row from there on.  `base` is what twice the first lead byte of the range
// counts to, so that it opens row 1 (0x81) or row 63 (0xE0).
jiscode rowandcell(uint8_t lead, uint8_t second, uint32_t base) {
    const uint32_t evenrow = 2u * lead - base;
    uint32_t high = evenrow - 1;
    uint32_t low;
    if (second >= 0x40 && second <= 0x7E) {
        low = second - 63u;
    } else if (second >= 0x80 && second <= 0x9E) {
        low = second - 64u;
    } else {
        high = evenrow;
        low = second - 158u;
    }
    return {static_cast<uint8_t>(high), static_cast<uint8_t>(low), 2};
}

constexpr uint32_t base_low = 256;
constexpr uint32_t base_high = 384;

constexpr bool islead(uint8_t byte) {
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

jiscode nextcharacter(const uint8_t *text, uint32_t left) {
    const uint8_t lead = text[0];
    if (!islead(lead))
        return {0, lead, 1};
    if (left == 1) // a lead byte that ends the text
        return {lead, 0, 1};
    if (lead <= 0x9F)
        return rowandcell(lead, text[1], base_low);
    if (lead <= 0xEF)
        return rowandcell(lead, text[1], base_high);
    jiscode code = rowandcell(static_cast<uint8_t>(lead - 111), text[1], base_low);
    code.high = static_cast<uint8_t>(code.high + 94); // rows behind the standard ones
    return code;
}

// Copies the field less what the options drop, and folds it.  The options work
// on single bytes: the second byte of a character is kept, dropped or folded on
// its own (intended).
uint32_t prepare(uint8_t *to, textspan text, uint8_t options) {
    const uint32_t kept = keptclasses(options);
    const uint8_t foldmask = options & KVRN_TXT_FOLD ? 0xDF : 0xFF;
    uint32_t used = 0;
    for (uint32_t i = 0; i < text.length; ++i) {
        const uint8_t byte = text.start[i];
        if (iskept(kept, TBL_CLASSK, byte))
            to[used++] = TBL_CLASSK[byte] == class_lower ? byte & foldmask : byte;
    }
    return used;
}

// Fills 2 * length bytes from the top: two bytes a character, the high one above the low
// one; what the characters do not fill is zero.  Descending complements all of it.
uint32_t jiscodes(uint8_t *key, const uint8_t *text, uint32_t length, uint8_t flip) {
    const uint32_t room = 2 * length;
    memset(key, flip, room);
    uint8_t *top = key + room;
    for (uint32_t i = 0; i < length;) {
        const jiscode code = nextcharacter(text + i, length - i);
        *--top = static_cast<uint8_t>(code.high ^ flip);
        *--top = static_cast<uint8_t>(code.low ^ flip);
        i += code.used;
    }
    return room;
}

} // namespace

// The text lies at the bottom of the slot and its lowest 2 * (room - text) bytes
// are blanked, so only fields that fill their room compare as text; the order of
// shorter ones is kept as it ever was (intended).  The slot is cleared first, so
// that nothing of an earlier key shows through.
int32_t kanjitext::encode(const qha5ctx *ctx, uint8_t *key, textspan text, const keyfield &field) {
    const uint32_t room = 2 * field.len;
    const uint8_t flip = flipoforder(field.order);
    const uint32_t used = prepare(ctx->keyscratch, usedtext(text, field), field.options);
    memset(key, 0, room);
    const uint32_t filled = jiscodes(key, ctx->keyscratch, used, flip);
    memset(key, flip, room - filled);
    return codedlength(room);
}

} // namespace kvern::keyform
