// How the operands of one field type are made comparable: by the normal forms of keys,
// always ascending; zoned numbers that compare with packed ones have their own, whose
// bytes lie as those of packed keys.
//
// Every comparator writes all the bytes that it returns.
#pragma once

#include "key/encode/coding.h"
#include "select/widening.h"

namespace kvern {

struct comparison {
    uint8_t type;
    widener widen;    // null: of two lengths the shorter one counts
    codings bytes;    // fixed and variable records, by code of data; null: this code has none
    coding text = {}; // text records
};

// The row of a field type; of a type that has none, a row without comparators.
const comparison &comparisonof(uint8_t type);

} // namespace kvern
