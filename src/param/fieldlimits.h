// Which field types serve as key, summation field and operand of a selection,
// and how long they may be: one row a type.
#pragma once

#include "kvern.h"

#include <cstdint>

namespace kvern {

enum class fielduse : uint8_t { key, sum, left, right };

struct fieldlimit {
    uint8_t type;
    uint8_t minimum;     // bytes
    uint8_t unit;        // the length is a multiple of it
    uint32_t maximum[4]; // bytes by use; 0: not for this use
};

constexpr uint32_t anylength = UINT32_MAX; // only the record bounds it

constexpr fieldlimit fieldlimits[] = {
    // type, minimum, unit, {key, sum, left, right}
    {KVRN_CHAR, 1, 1, {anylength, 256, 256, 256}},
    {KVRN_CHARX, 1, 1, {anylength, 256, 256, 256}},
    {KVRN_COLLATE, 1, 1, {anylength, 0, 256, 256}},
    {KVRN_ZONED, 1, 1, {256, 18, 256, 256}},
    {KVRN_ZONEDLEAD, 1, 1, {256, 0, 256, 256}},
    {KVRN_ZONEDU, 1, 1, {256, 0, 256, 256}},
    {KVRN_PACKED, 1, 1, {256, 16, 256, 256}},
    {KVRN_SBEBIN, 1, 1, {256, 8, 256, 256}},
    {KVRN_SLEBIN, 1, 1, {256, 8, 256, 256}},
    {KVRN_UBEBIN, 1, 1, {256, 8, 256, 256}},
    {KVRN_SIGNLEAD, 2, 1, {256, 0, 256, 256}},
    {KVRN_SIGNTRAIL, 2, 1, {256, 0, 256, 256}},
    {KVRN_UBIN1, 1, 1, {256, 0, 0, 0}},
    {KVRN_ULEBIN, 1, 1, {256, 0, 0, 0}},
    {KVRN_UBIN2, 1, 1, {256, 0, 0, 0}},
    {KVRN_FLOAT4, 1, 1, {256, 0, 0, 0}},
    {KVRN_FLOAT8, 1, 1, {256, 0, 0, 0}},
    {KVRN_MASKBYTE, 1, 1, {255, 0, 255, 255}}, // the mask stands in the length
    {KVRN_TABLED, 1, 1, {anylength, 0, 0, 0}},
    {KVRN_WIDE2, 2, 2, {anylength, 0, 256, 256}},
    {KVRN_WIDE4, 4, 4, {anylength, 0, 256, 256}},
    {KVRN_FLD_LIT, 1, 1, {0, 0, 0, 256}},
};

// Minima are 1 or more, so a length of 0 fits no use.
constexpr bool fieldfits(fielduse use, uint8_t type, uint32_t length) {
    for (const fieldlimit &row : fieldlimits)
        if (row.type == type)
            return length >= row.minimum && length <= row.maximum[static_cast<unsigned>(use)] &&
                   length % row.unit == 0;
    return false;
}

} // namespace kvern
