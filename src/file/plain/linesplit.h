// Text input in blocks that end behind a whole line.
//
// A read ends anywhere; the lines do not.  What lies behind the last delimiter
// of a block is carried: it is kept in the input's carry entry and heads the
// input's next block.
//
//   carry "ab"    read "cd\nefg\nhi"    block "abcd\nefg\n"    carry "hi"
//
// A block has room for one record of inreclen bytes beside what is read, and a
// carry is shorter than that (a longer one could not become a record), so a
// delimiter or two may be put behind the data without looking at the block's
// end.
#pragma once

#include "session/context.h"

namespace kvern {

struct linedelimiter {
    const uint8_t *bytes;
    uint32_t length; // 1 or 2
};

constexpr uint8_t endmark = 0x1A; // ends a text file ahead of its last byte

enum class splitend : uint8_t {
    delimiter, // the block ends behind a delimiter that was in the data, or mark
    added,     // one line without a delimiter, which was given one
    toolong,   // a line that cannot become a record
};

// Moves the carried bytes to the head of the block; their number.
[[nodiscard]] uint32_t takecarry(const carryentry *carry, blockhdr *block);

// An empty block: end of the input.
void endlines(carryentry *carry, blockhdr *block);

// Puts a delimiter over the end mark at `index`; what followed is gone.  The new
// length of the block's data.
[[nodiscard]] uint32_t cutatmark(blockhdr *block, uint32_t index, linedelimiter delimiter);

// Ends the block's `length` bytes (at least one) behind the last delimiter and
// keeps the rest for the next block.  `marked`: the last delimiter was added by
// cutatmark and must not make an empty line of its own.
[[nodiscard]] splitend splitlines(blockhdr *block, carryentry *carry, uint32_t length,
                                  linedelimiter delimiter, uint32_t inreclen, bool marked);

// Bytes in a block that was split.
inline int32_t blockbytes(const blockhdr *block) {
    return static_cast<int32_t>(block->limit - block->first);
}

} // namespace kvern
