// Shift-JIS text to JIS codes.
#pragma once

#include <cstdint>

namespace kvern {

// Fills 2 * length bytes from the top: two bytes a character, the high one
// above the low one; what the characters do not fill is zero.  Descending
// complements all of it.  Returns 2 * length.
uint32_t sjis_to_jis(uint8_t *dst, const uint8_t *text, uint32_t length, uint8_t order);

} // namespace kvern
