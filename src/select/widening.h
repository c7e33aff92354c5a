// The shorter of two operands made as long as the longer one without a change of
// its value: leading zeros, behind a sign that stands in front.
#pragma once

#include <cstdint>

namespace kvern {

struct operand {
    const uint8_t *source;
    uint32_t length;
};

// Writes the `missing` bytes at `to`, and those of the operand that they mix with,
// which are taken from it.  Returns where the rest of the operand goes.  `filler`
// is the zone of a plain digit, and so the digit 0.
using widener = uint8_t *(*)(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler);

uint8_t *widenzeros(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler);
uint8_t *widensign(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler);
uint8_t *widendigits(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler);
uint8_t *widensigned(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler);
uint8_t *widendigit(uint8_t *to, operand &shorter, uint32_t missing, uint8_t filler);

} // namespace kvern
