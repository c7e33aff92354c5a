// The merge and copy functions' part of the context, and summation's.
#pragma once

#include <cstdint>

namespace kvern {

struct qha5ctx;

// What the checked form of kvrnmrge asks about the running merge.
struct mergecontrol {
    uint8_t wantsinput; // 1: the merge waits for a record of input wantedinput
    uint16_t wantedinput;
};

struct merge_fields {
    int32_t (*mergefn)(qha5ctx *ctx); // merge driver behind kvrnmrge; null: none
    mergecontrol *mergectl;
    // Folds `record` into `held`: 0 summed, 1 summation stopped, -1 failed.
    int32_t (*sumrebuild)(qha5ctx *ctx, uint8_t *held, const uint8_t *record);
    uint8_t *sumbuf; // sumlen bytes
};

} // namespace kvern
