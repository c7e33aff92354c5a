// Two's complement binary and IEEE floating point.  Nothing is lost: each form
// has an exact inverse.
//
// Two's complement orders as unsigned once the sign bit is exchanged, and the
// complement of that is the descending order, so one XOR serves both ways:
//
//   -32768   80 00   enc_bebin  00 00        -1   FF FF   FF 7F        0   00 80
//
// A floating point number is sign and magnitude: a positive one gets its sign
// bit set, a negative one is complemented whole, so the larger magnitude comes
// lower; -0 sorts right below +0.

#include "key/encode/encoders.h"

#include "key/encode/reversal.h"

namespace kvern {

namespace {

constexpr uint8_t signbit = 0x80;

} // namespace

int32_t enc_bebin(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &) {
    copyreversed(dst, src, length, flipoforder(order));
    dst[length - 1] ^= signbit;
    return codedlength(length);
}

int32_t dec_bebin(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &) {
    copyreversed(dst, src, length, flipoforder(order));
    dst[0] ^= signbit;
    return codedlength(length);
}

// Least significant byte first is how a key lies, so this form is its own
// inverse.
int32_t enc_lebin(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &) {
    copyflipped(dst, src, length, flipoforder(order));
    dst[length - 1] ^= signbit;
    return codedlength(length);
}

int32_t dec_lebin(qha5ctx *ctx, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &extra) {
    return enc_lebin(ctx, dst, src, length, order, extra);
}

int32_t enc_float(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &) {
    const bool negative = (src[length - 1] & signbit) != 0;
    copyflipped(dst, src, length, flipof(negative != isdescending(order)));
    if (!negative)
        dst[length - 1] ^= signbit;
    return codedlength(length);
}

// The top bit tells whether the bytes were complemented.  A number that was
// positive has its sign bit exchanged on top of that.
int32_t dec_float(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &) {
    const bool complemented = (src[length - 1] & signbit) == 0;
    copyflipped(dst, src, length, flipof(complemented));
    if (complemented == isdescending(order))
        dst[length - 1] &= static_cast<uint8_t>(~signbit);
    return codedlength(length);
}

} // namespace kvern
