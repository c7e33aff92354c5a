// Packed decimal: two digits a byte, the sign in the last nibble, negative when
// that is B or D.
//
//   +123   12 3C   ascending  30 12 FF        -123   12 3D   C0 ED 00
//                             |     marker
//                             sign nibble cleared
//
// Sign nibbles C and F of equal digits compare equal, so the last byte cannot be
// given back from the key.  It is never written on the way out: another piece of
// the internal record, an exact key row or a gap, always covers it, and a later
// write from here would spoil what that one restored.

#include "key/encode/encoders.h"

#include "key/encode/reversal.h"
#include "key/encode/zonesign.h"

namespace kvern {

namespace {

constexpr uint8_t digitnibble = 0xF0;

} // namespace

int32_t enc_packed(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                   const keyextra &) {
    const uint8_t flip = flipof(packedsign::negative(src[length - 1]) != isdescending(order));
    copyreversed(dst, src, length, flip);
    dst[length] = static_cast<uint8_t>(~flip);
    dst[0] &= digitnibble;
    return codedlength(length + 1);
}

int32_t dec_packed(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                   const keyextra &) {
    copyreversed(dst, src + 1, length - 1, flipof(src[length] < 0xFF));
    return codedlength(length);
}

} // namespace kvern
