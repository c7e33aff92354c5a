// The walk is from the end: it meets one line's tail, not the block.
#include "file/plain/linesplit.h"

#include <cstring>

namespace kvern {

namespace {

bool standsat(const uint8_t *place, linedelimiter delimiter) {
    return memcmp(place, delimiter.bytes, delimiter.length) == 0;
}

// The last delimiter of the block's data, or null.
uint8_t *lastdelimiter(const blockhdr *block, uint32_t length, linedelimiter delimiter) {
    if (length < delimiter.length)
        return nullptr;
    for (uint32_t at = length - delimiter.length;; --at) {
        if (standsat(block->first + at, delimiter))
            return block->first + at;
        if (at == 0)
            return nullptr;
    }
}

// The whole content is one line without an end.
splitend addend(blockhdr *block, carryentry *carry, uint32_t length, linedelimiter delimiter,
                uint32_t inreclen) {
    if (uint64_t{length} + delimiter.length > inreclen)
        return splitend::toolong;
    memcpy(block->first + length, delimiter.bytes, delimiter.length);
    block->limit = block->first + length + delimiter.length;
    carry->length = 0;
    return splitend::added;
}

} // namespace

uint32_t takecarry(const carryentry *carry, blockhdr *block) {
    memcpy(block->first, carry->bytes, carry->length);
    return carry->length;
}

void endlines(carryentry *carry, blockhdr *block) {
    block->limit = block->first;
    carry->length = 0;
}

uint32_t cutatmark(blockhdr *block, uint32_t index, linedelimiter delimiter) {
    memcpy(block->first + index, delimiter.bytes, delimiter.length);
    return index + delimiter.length;
}

splitend splitlines(blockhdr *block, carryentry *carry, uint32_t length, linedelimiter delimiter,
                    uint32_t inreclen, bool marked) {
    uint8_t *last = lastdelimiter(block, length, delimiter);
    if (last == nullptr)
        return addend(block, carry, length, delimiter, inreclen);

    const auto before = static_cast<uint32_t>(last - block->first);
    const uint32_t rest = length - before - delimiter.length;
    if (rest >= inreclen)
        return splitend::toolong;
    // An added delimiter right behind one that the file had is not a line.
    const bool redundant =
        marked && before >= delimiter.length && standsat(last - delimiter.length, delimiter);
    block->limit = redundant ? last : last + delimiter.length;
    memcpy(carry->bytes, last + delimiter.length, rest);
    carry->length = rest;
    return splitend::delimiter;
}

} // namespace kvern
