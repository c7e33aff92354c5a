// Valid fields of every key type from a number, and what else may stand in a
// field: edge values and bytes that are no value at all.
#pragma once

#include "support/randomness.h"
#include "support/sessionspec.h"

namespace kvern::test {

// How the ranks of records run: the named inputs of sort tests.
enum class distribution : uint8_t {
    ascending,
    descending,
    equal,
    twovalues,
    sawtooth,
    organpipe,
    random,
};
constexpr uint32_t distributions = 7;

[[nodiscard]] int64_t rankof(distribution d, size_t i, size_t n, randomness &r);

// The field of `length` bytes of a key type (forms 'f' and 'v') that holds v,
// as far as it has room.  A sign takes one of its legal spellings.
[[nodiscard]] bytes fieldof(unsigned type, uint32_t length, unsigned cdmode, int64_t v,
                            randomness &r);
// Minus zero, greatest and smallest values, rubbish.
[[nodiscard]] bytes edgefield(unsigned type, uint32_t length, unsigned cdmode, randomness &r);

enum class script : uint8_t { words, numbers, kanji, any };
// A text of at most `room` bytes without a line delimiter or end mark; `v`
// rules its order where the script has room for that.
[[nodiscard]] bytes textof(script kind, uint32_t room, int64_t v, randomness &r);

} // namespace kvern::test
