// Digits with a separate sign byte in front or behind.  Only the code's minus
// sign makes a number negative, any other byte counts as plus:
//
//   "-12"   2D 31 32   enc_lead, ascending  CD CE 00 (marker)
//   "12+"   31 32 2B   enc_trail, ascending 32 31 FF (marker)
//
// The marker takes the place of the sign byte; the key table gives these fields
// one byte more than they use, which stays as it was.  The sign byte itself is
// not written on the way out, a gap piece restores it.

#include "key/encode/encoders.h"

#include "key/encode/reversal.h"

namespace kvern {

namespace {

constexpr uint8_t minus_ascii = 0x2D;
constexpr uint8_t minus_ebcdic = 0x60;

// `signbyte` and `digits` lie in the record; the length counts both.
template <uint8_t Minus>
int32_t encode(uint8_t *dst, uint8_t signbyte, const uint8_t *digits, uint32_t length,
               uint8_t order) {
    const uint8_t flip = flipof((signbyte == Minus) != isdescending(order));
    copyreversed(dst, digits, length - 1, flip);
    dst[length - 1] = static_cast<uint8_t>(~flip);
    return codedlength(length);
}

int32_t decode(uint8_t *digits, const uint8_t *src, uint32_t length) {
    copyreversed(digits, src, length - 1, flipof(src[length - 1] < 0xFF));
    return codedlength(length);
}

} // namespace

int32_t enc_lead(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    return encode<minus_ascii>(dst, src[0], src + 1, length, order);
}

int32_t enc_lead_e(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                   const keyextra &) {
    return encode<minus_ebcdic>(dst, src[0], src + 1, length, order);
}

int32_t enc_trail(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &) {
    return encode<minus_ascii>(dst, src[length - 1], src, length, order);
}

int32_t enc_trail_e(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                    const keyextra &) {
    return encode<minus_ebcdic>(dst, src[length - 1], src, length, order);
}

int32_t dec_lead(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                 const keyextra &) {
    return decode(dst + 1, src, length);
}

int32_t dec_trail(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                  const keyextra &) {
    return decode(dst, src, length);
}

} // namespace kvern
