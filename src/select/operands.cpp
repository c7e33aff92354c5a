// An operand that has its length is encoded right where it lies; only a widened one
// is staged, in the second half of its buffer:
//
//   selbufl   | encoded, selmaxlen bytes | staged, selmaxlen bytes |
//
// selmaxlen counts the marker bytes of the encoders, so the encoded length rounded
// up to whole words stays in its half.

#include "select/operands.h"

#include "select/comparators.h"
#include "session/arena.h"
#include "session/qha9msg.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace kvern {

namespace {

constexpr uint8_t wholebyte = 0xFF; // mask of a literal

// The key encoders know nothing of words: what is left of the last one is zero.  A
// whole word of zeros may reach into the staged half, which has been read by then.
int32_t wholewords(const qha5ctx *ctx, int32_t encoded) {
    if (encoded < 0)
        return -1;
    constexpr uint32_t zeros = 0;
    const auto length = static_cast<uint32_t>(encoded);
    const auto words = static_cast<uint32_t>(roundup(length, sizeof zeros));
    assert(words <= ctx->selmaxlen);
    if (words != length) {
        memcpy(ctx->selbufl + length, &zeros, sizeof zeros);
        memcpy(ctx->selbufr + length, &zeros, sizeof zeros);
    }
    return static_cast<int32_t>(words);
}

int32_t encodeone(qha5ctx *ctx, const coding &comparator, uint8_t *dst, const operand &from,
                  const keyfield &field) {
    if (comparator.encoder == nullptr)
        return faillogic(ctx);
    return comparator.encoder(ctx, dst, from.source, field, from.length);
}

int32_t encodemasked(qha5ctx *ctx, const comparison &kind, uint8_t *dst, const operand &from,
                     const uint8_t *mask) {
    return encodeone(ctx, codingfor(kind.bytes, ctx->cdmode), dst, from,
                     {.len = from.length, .order = KVRN_ASCENDING, .table = mask});
}

void widenoperand(const qha5ctx *ctx, const comparison &kind, uint8_t *buffer, operand &shorter,
                  uint32_t length) {
    const uint8_t filler = ctx->cdmode == KVRN_CD_EBCDIC ? ebcdicsign::filler : asciizone::filler;
    uint8_t *staged = buffer + ctx->selmaxlen;
    uint8_t *rest = kind.widen(staged, shorter, length - shorter.length, filler);
    memcpy(rest, shorter.source, shorter.length);
    shorter = {staged, length};
}

// Each side goes by its own type.  Characters are cut, so that they compare equal
// to what they begin with.
void matchlengths(const qha5ctx *ctx, const comparison &leftkind, operand &left,
                  const comparison &rightkind, operand &right) {
    if (left.length < right.length && leftkind.widen != nullptr)
        widenoperand(ctx, leftkind, ctx->selbufl, left, right.length);
    else if (right.length < left.length && rightkind.widen != nullptr)
        widenoperand(ctx, rightkind, ctx->selbufr, right, left.length);
    else
        left.length = right.length = std::min(left.length, right.length);
}

} // namespace

// A literal is of the left field's type.  It comes out the same for each record,
// so as long as no other condition has used the buffer it stands there already.
int32_t encodebytes(qha5ctx *ctx, const KVRNSELE &cond, const uint8_t *data) {
    const bool literal = cond.rtype == KVRN_FLD_LIT;
    const comparison &leftkind = comparisonof(cond.ltype);
    const comparison &rightkind = literal ? leftkind : comparisonof(cond.rtype);
    operand left{data + cond.lpos, cond.llen};
    operand right = literal ? literalof(cond) : operand{data + cond.rpos, cond.rlen};
    if (left.length != right.length)
        matchlengths(ctx, leftkind, left, rightkind, right);
    const int32_t encoded = encodemasked(ctx, leftkind, ctx->selbufl, left, &cond.mask);
    if (encoded < 0)
        return -1;
    if (ctx->heldliteral != &cond) {
        const uint8_t *mask = literal ? &wholebyte : &cond.mask;
        if (encodemasked(ctx, rightkind, ctx->selbufr, right, mask) < 0)
            return -1;
        ctx->heldliteral = literal ? &cond : nullptr;
    }
    return wholewords(ctx, encoded);
}

// The shorter text is filled with zero bytes behind its end, so unlike the bytes of
// other records no text is equal to what it begins with.
int32_t encodetexts(qha5ctx *ctx, const KVRNSELE &cond, const operand &left, const operand &right) {
    const coding &comparator = comparisonof(cond.ltype).text;
    const keyfield field = {.len = std::max(left.length, right.length),
                            .options = cond.options,
                            .order = KVRN_ASCENDING};
    if (encodeone(ctx, comparator, ctx->selbufl, left, field) < 0)
        return -1;
    return wholewords(ctx, encodeone(ctx, comparator, ctx->selbufr, right, field));
}

} // namespace kvern
