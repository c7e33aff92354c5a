// Valid fields of every key type from a number, and what else may stand in a
// field: edge values and bytes that are no value at all.
#pragma once

#include "support/randomness.h"
#include "support/sessionspec.h"

namespace kvern::test {

// The last n digits, with zeros in front.
[[nodiscard]] bytes padded(const bytes &digits, size_t n);
[[nodiscard]] bytes bigendian(int64_t v, size_t n);
// A field of a decimal type.  A sign takes one of its legal spellings; without a choice
// the one that the engine writes.
[[nodiscard]] bytes decimalfield(unsigned type, uint32_t length, unsigned cdmode,
                                 const bytes &digits, bool negative, randomness *r = nullptr);
// The field of `length` bytes of a key type (forms 'f' and 'v') that holds v,
// as far as it has room.
[[nodiscard]] bytes fieldof(unsigned type, uint32_t length, unsigned cdmode, int64_t v,
                            randomness &r);
// Minus zero, greatest and smallest values, rubbish.
[[nodiscard]] bytes edgefield(unsigned type, uint32_t length, unsigned cdmode, randomness &r);

enum class script : uint8_t { words, numbers, kanji, any };
// A text of at most `room` bytes without a line delimiter or end mark; `v`
// rules its order where the script has room for that.
[[nodiscard]] bytes textof(script kind, uint32_t room, int64_t v, randomness &r);

} // namespace kvern::test
