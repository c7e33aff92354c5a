// Binary numbers become their bytes, highest first, with the sign's bit turned over, so that
// negative ones stand ahead:  -2  FF FE -> 7F FE,  3  00 03 -> 80 03.
#include "cobsort/binaries.h"

#include "signs.h"

#include <array>
#include <bit>
#include <cstring>
#include <utility>

namespace cobsort {
namespace {

constexpr size_t mostwidth = 8;

template <size_t width, bool reversed>
bool codebinary(const coder &how, const unsigned char *record, unsigned char *room) {
    uint64_t number = 0;
    std::memcpy(&number, record + how.source, width);
    if (reversed) // on machines that keep the lowest byte first
        number = __builtin_bswap64(number) >> (64 - 8 * width);
    std::memcpy(room, &number, width);
    room[0] ^= how.flip;
    return true;
}

template <bool reversed, size_t... index>
constexpr std::array<decltype(coder::code), mostwidth> bywidth(std::index_sequence<index...>) {
    return {codebinary<index + 1, reversed>...};
}

constexpr auto widths = std::make_index_sequence<mostwidth>();
constexpr auto straightcoders = bywidth<false>(widths);
constexpr auto reversedcoders = bywidth<true>(widths);

// Versions differ in whether the top bit of 64 without sign is one of the number or its sign.
bool istopsign(const cob_field &field) {
    unsigned char top[mostwidth] = {0x80, 0, 0, 0, 0, 0, 0, 0x80};
    unsigned char low[mostwidth] = {};
    return field.size == mostwidth && askedorder(*field.attr, mostwidth, top, low) < 0;
}

} // namespace

bool choosebinary(const cob_field &field, uint32_t at, coder &how) {
    if (field.size < 1 || field.size > mostwidth)
        return false;
    const bool issigned = (field.attr->flags & COB_FLAG_HAVE_SIGN) != 0 || istopsign(field);
    const bool swapped = (field.attr->flags & COB_FLAG_BINARY_SWAP) != 0;
    const bool reversed = std::endian::native == std::endian::little && !swapped;
    how.source = at;
    how.length = static_cast<uint32_t>(field.size);
    how.flip = issigned ? 0x80 : 0;
    if (reversed || issigned) {
        how.code = (reversed ? reversedcoders : straightcoders)[field.size - 1];
        how.coded = how.length;
    }
    return true;
}

} // namespace cobsort
