// The record filter's part of the context.
#pragma once

#include "kvern.h"

#include <cstdint>

namespace kvern {

struct qha5ctx;

struct select_fields {
    // 0 the record stays; its size in the block when it is dropped; -1 failed.
    int32_t (*selecteval)(qha5ctx *ctx, const uint8_t *raw);
    // The same for a record that stands by itself, from its data to scanlimit: more than 0
    // when it is dropped.
    int32_t (*selectalone)(qha5ctx *ctx, const uint8_t *data);
    uint32_t selectcount;        // records dropped
    uint8_t *selbufl, *selbufr;  // operand work buffers, 2 * selmaxlen bytes each
    const KVRNSELE *heldliteral; // selbufr holds its literal; null: something else
};

} // namespace kvern
