// How one key of a record is looked at, and how it gets into the bytes ahead of the record.
#pragma once

#include <cstdint>

namespace cobsort {

struct signtable;

// Constant after the plan is made.
struct coder {
    // Looks at the key in `record` and writes its `coded` bytes to `room`.  False: it holds
    // what is no clean value of its type.  Null: the bytes need no look.
    bool (*code)(const coder &, const unsigned char *record, unsigned char *room) = nullptr;
    uint32_t source = 0; // first byte looked at, in the record
    uint32_t length = 0; // bytes looked at
    uint32_t target = 0; // where the coded bytes begin, ahead of the record
    uint32_t coded = 0;  // how many; 0: the bytes of the field order as the run-time does

    // Decimals (decimals.cpp).
    const signtable *signs = nullptr;
    uint32_t signbyte = 0;     // the byte that tells the sign, in the record
    uint32_t signword = 0;     // the word of the digits that it belongs to, from `source`
    uint32_t signshift = 0;    // and where in that word
    unsigned char padding = 0; // bits of the first byte that must be zero

    unsigned char flip = 0;                     // binary numbers: turned over in the first byte
    const unsigned char *translation = nullptr; // text under a collating sequence: 256 weights
};

} // namespace cobsort
