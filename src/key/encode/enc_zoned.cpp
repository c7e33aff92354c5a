// Zoned decimal: a digit a byte, the sign in the zone of the last or first byte.
// The codes of data differ in the sign policy alone (zonesign.h).  In EBCDIC:
//
//   +12   F1 C2   ascending  F2 F1 FF        -12   F1 D2   0D 0E 00
//                            |     marker
//                            sign byte, zone normalised
//
// The exact zone is lost, so the sign byte is never written on the way out:
// another piece of the internal record, an exact key row or a gap, always covers
// it.  The other digit bytes are carried as they are.

#include "key/encode/encoders.h"

#include "key/encode/reversal.h"
#include "key/encode/zonesign.h"

namespace kvern {

namespace {

// Where the sign byte stands in the field, and in its reversed copy.
struct trailing {
    static constexpr uint32_t insource(uint32_t length) { return length - 1; }
    static constexpr uint32_t inkey(uint32_t) { return 0; }
};
struct leading {
    static constexpr uint32_t insource(uint32_t) { return 0; }
    static constexpr uint32_t inkey(uint32_t length) { return length - 1; }
};

template <typename Sign, typename Place>
int32_t encode(uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order) {
    const uint8_t signbyte = src[Place::insource(length)];
    const uint8_t flip = flipof(Sign::negative(signbyte) != isdescending(order));
    copyreversed(dst, src, length, flip);
    dst[Place::inkey(length)] = static_cast<uint8_t>(Sign::digit(signbyte) ^ flip);
    dst[length] = static_cast<uint8_t>(~flip);
    return codedlength(length + 1);
}

} // namespace

int32_t enc_ztrail_e(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                     const keyextra &) {
    return encode<ebcdicsign, trailing>(dst, src, length, order);
}

int32_t enc_ztrail_5(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                     const keyextra &) {
    return encode<zone5sign, trailing>(dst, src, length, order);
}

int32_t enc_ztrail_7(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                     const keyextra &) {
    return encode<zone7sign, trailing>(dst, src, length, order);
}

int32_t enc_ztrail_o(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                     const keyextra &) {
    return encode<overpunchsign, trailing>(dst, src, length, order);
}

int32_t enc_zlead_e(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                    const keyextra &) {
    return encode<ebcdicsign, leading>(dst, src, length, order);
}

int32_t enc_zlead_5(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                    const keyextra &) {
    return encode<zone5sign, leading>(dst, src, length, order);
}

int32_t enc_zlead_7(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                    const keyextra &) {
    return encode<zone7sign, leading>(dst, src, length, order);
}

int32_t enc_zlead_o(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                    const keyextra &) {
    return encode<overpunchsign, leading>(dst, src, length, order);
}

int32_t dec_ztrail(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                   const keyextra &) {
    copyreversed(dst, src + 1, length - 1, flipof(src[length] < 0xFF));
    return codedlength(length);
}

int32_t dec_zlead(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                  const keyextra &) {
    copyreversed(dst + 1, src, length - 1, flipof(src[length] < 0xFF));
    return codedlength(length);
}

} // namespace kvern
