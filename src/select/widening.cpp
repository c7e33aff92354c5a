#include "select/widening.h"

#include "key/encode/zonesign.h"

#include <cstring>

namespace kvern {

namespace {

uint8_t takefirst(operand &from) {
    --from.length;
    return *from.source++;
}

} // namespace

// Unsigned binary, packed decimal:  12 3C  ->  00 00 12 3C
uint8_t *widenzeros(uint8_t *to, operand &, uint32_t missing, uint8_t) {
    memset(to, 0, missing);
    return to + missing;
}

// Two's complement:  80 01  ->  FF FF 80 01
uint8_t *widensign(uint8_t *to, operand &shorter, uint32_t missing, uint8_t) {
    memset(to, shorter.source[0] & 0x80 ? 0xFF : 0x00, missing);
    return to + missing;
}

// Digits whose sign, if any, stands behind:  "5-"  ->  "005-"
uint8_t *widendigits(uint8_t *to, operand &, uint32_t missing, uint8_t filler) {
    memset(to, filler, missing);
    return to + missing;
}

// Digits behind a sign:  "-5"  ->  "-005"
uint8_t *widensigned(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler) {
    *to = takefirst(shorter);
    memset(to + 1, filler, missing);
    return to + 1 + missing;
}

// The sign in the zone of the first digit stays in front:  55 31  ->  50 30 35 31.
// A letter that stands for sign and digit is split like any other byte, and loses
// both: intended, only fields of one length compare there.
uint8_t *widendigit(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler) {
    const uint8_t first = takefirst(shorter);
    *to = zoneof(first);
    memset(to + 1, filler, missing);
    to[missing] = static_cast<uint8_t>(to[missing] | digitof(first));
    return to + missing + 1;
}

} // namespace kvern
