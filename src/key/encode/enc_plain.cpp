// Fields without a sign: copied, reversed, masked or translated.  What is most
// significant first in the record comes out reversed, since the most significant
// byte of a key stands highest:
//
//   "ABC"   41 42 43   enc_rev, ascending    43 42 41
//                      enc_rev, descending   BC BD BE

#include "key/encode/encoders.h"

#include "key/encode/chartables.h"
#include "key/encode/reversal.h"
#include "session/context.h"

#include <cstring>

namespace kvern {

namespace {

int32_t translate(uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const uint8_t *table) {
    const uint8_t flip = flipoforder(order);
    for (uint32_t i = 0; i < length; ++i)
        dst[length - 1 - i] = static_cast<uint8_t>(table[src[i]] ^ flip);
    return codedlength(length);
}

} // namespace

int32_t enc_copy(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                 const keyextra &) {
    memcpy(dst, src, length);
    return codedlength(length);
}

int32_t enc_rev(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                const keyextra &) {
    copyreversed(dst, src, length, flipoforder(order));
    return codedlength(length);
}

int32_t enc_same(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    copyflipped(dst, src, length, flipoforder(order));
    return codedlength(length);
}

int32_t enc_mask(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &extra) {
    dst[0] = static_cast<uint8_t>((src[0] & extra.table[0]) ^ flipoforder(order));
    return codedlength(length);
}

// The row has no source bytes: its length is 0, and so is the result.
int32_t enc_seq(qha5ctx *ctx, uint8_t *dst, const uint8_t *, uint32_t length, uint8_t,
                const keyextra &) {
    memcpy(dst, &ctx->seqno, sizeof ctx->seqno);
    return codedlength(length);
}

int32_t enc_table(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                  const keyextra &extra) {
    return translate(dst, src, length, order, extra.table);
}

int32_t enc_e2a0(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    return translate(dst, src, length, order, TBL_E2A0.code);
}

int32_t enc_e2a1(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    return translate(dst, src, length, order, TBL_E2A1.code);
}

int32_t enc_e2a2(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    return translate(dst, src, length, order, TBL_E2A2.code);
}

int32_t enc_a2e0(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    return translate(dst, src, length, order, TBL_A2E0.code);
}

int32_t enc_a2e1(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    return translate(dst, src, length, order, TBL_A2E1.code);
}

int32_t enc_a2e2(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t order,
                 const keyextra &) {
    return translate(dst, src, length, order, TBL_A2E2.code);
}

// Reserved types pass the analysis and end the session at the first record.
int32_t enc_none(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &) {
    return -1;
}

int32_t dec_none(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &) {
    return 0;
}

} // namespace kvern
