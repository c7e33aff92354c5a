// What the engine knows of a key type: the width of its normal form, which bytes come
// back, and its encoder and decoder in each code of data.  One table holds it all.
#pragma once

#include "session/context.h"

namespace kvern {

// Bytes of the field's normal form.
uint64_t normalwidth(const keyfield &field);

// Bytes at the front and at the end of a field that its decoder does not write.
struct lostbytes {
    uint8_t front;
    uint8_t tail;
};
lostbytes lostof(uint8_t type);

// Encoder and decoder of the rows that no key entry stands for.
void codesequence(keyentry &row); // the 4-byte input sequence number
void codecarried(keyentry &row);  // bytes carried over unchanged

// Encoder, decoder and table of a key's row: 0, or -1 with message 43 for a type that has
// none in this session.
[[nodiscard]] int wirekey(qha5ctx *ctx, keyentry &row);

} // namespace kvern
