// Big-endian binary of up to 8 bytes.  The field is put at the top of a 64-bit number,
// where its first bit is the sign and its carry the overflow, whatever its length.
#include "merge/sum/adders.h"

namespace kvern {
namespace {

constexpr uint32_t widebits = 64;

uint64_t load(const uint8_t *field, uint32_t length) {
    uint64_t word = 0;
    for (uint32_t i = 0, place = widebits; i < length; i++)
        word |= uint64_t{field[i]} << (place -= 8);
    return word;
}

void storesum(uint8_t *field, uint32_t length, uint64_t word) {
    for (uint32_t i = 0; i < length; i++, word <<= 8)
        field[i] = static_cast<uint8_t>(word >> (widebits - 8));
}

template <typename Integer>
addresult addbinary(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    Integer total;
    if (__builtin_add_overflow(static_cast<Integer>(load(a, length)),
                               static_cast<Integer>(load(b, length)), &total))
        return sum_overflow;
    storesum(sum, length, static_cast<uint64_t>(total));
    return sum_done;
}

} // namespace

addresult add_ubebin(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return addbinary<uint64_t>(sum, a, b, length);
}
addresult add_sbebin(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return addbinary<int64_t>(sum, a, b, length);
}

} // namespace kvern
