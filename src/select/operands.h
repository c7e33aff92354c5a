// Both operands of a condition brought to one length and encoded into selbufl and
// selbufr, so that they compare as keys do.  The routines return the bytes to
// compare, a multiple of 4, or -1 after reporting; a type that no comparison
// exists for yet is -1 without a message.
#pragma once

#include "select/widening.h"
#include "session/context.h"

namespace kvern {

// Fixed and variable records; `data` is what positions count from.
int32_t encodebytes(qha5ctx *ctx, const KVRNSELE &cond, const uint8_t *data);

// Text: the operands as the form found them.
int32_t encodetexts(qha5ctx *ctx, const KVRNSELE &cond, const operand &left, const operand &right);

inline operand literalof(const KVRNSELE &cond) {
    return {static_cast<const uint8_t *>(cond.rlit), cond.rlen};
}

} // namespace kvern
