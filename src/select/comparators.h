// How the operands of one field type are made comparable.  The encoders are those
// of keys, always ascending; zoned numbers that compare with packed ones have
// their own, whose bytes lie as enc_packed lays them.
//
// Every comparator writes all the bytes that it returns.
#pragma once

#include "key/encode/zonesign.h"
#include "key/key_fields.h"
#include "select/widening.h"

namespace kvern {

struct comparison {
    uint8_t type;
    widener widen; // null: of two lengths the shorter one counts
    coder comparator[cdmodes];
};

// The row of a field type of fixed and variable records; of a type that has none,
// a row without comparators.
const comparison &comparisonof(uint8_t type);

// Zoned decimal with the sign in the last byte; n + 1 bytes.
int32_t sel_zoned_e(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t sel_zoned_5(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t sel_zoned_7(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t sel_zoned_o(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);

} // namespace kvern
