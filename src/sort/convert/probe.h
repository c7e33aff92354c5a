// The key of a record that the session does not take: the rows of the key alone, turned
// round, so that memcmp orders keys as the engine orders records.
//
//   in a slot   | seq | last key ... first key | filler |
//   probed      | filler | first key ... last key |
//
// Of the context only work areas are used that hold nothing between two records: recwork,
// keyscratch and the tables of fields.
#pragma once

#include "session/context.h"

namespace kvern {

// Sets `probe` by the record form, field mode, keys and reconstruction.
void wireprobe(qha5ctx *ctx);

// Bytes in front of the keys in a slot: the sequence number is no part of a key.
inline uint32_t sequenceroom(const qha5ctx *ctx) {
    return ctx->keeporder ? static_cast<uint32_t>(sizeof ctx->seqno) : 0;
}
inline uint32_t probedlength(const qha5ctx *ctx) {
    return ctx->keylen - sequenceroom(ctx);
}

} // namespace kvern
