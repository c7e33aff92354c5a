// Binary numbers become their bytes, highest first, with the sign's bit turned over, so that
// negative ones stand ahead:  -2  FF FE -> 7F FE,  3  00 03 -> 80 03.
#include "binaries.h"

#include <array>
#include <bit>
#include <utility>

namespace cobsort {
namespace {

constexpr size_t mostwidth = 8;
constexpr unsigned quickdigits = 18; // up to here version 3.2 compares as signed numbers

template <size_t width, bool reversed>
bool codebinary(const coder &how, const unsigned char *record, unsigned char *room) {
    const unsigned char *field = record + how.source;
    for (size_t i = 0; i < width; ++i)
        room[i] = field[reversed ? width - 1 - i : i];
    room[0] ^= how.flip;
    return true;
}

// Over half of what 64 bits hold is beyond these fields' pictures, and is less than nothing
// to one version and not to the other.
template <bool reversed>
bool codehalf(const coder &how, const unsigned char *record, unsigned char *room) {
    codebinary<mostwidth, reversed>(how, record, room);
    return (room[0] & 0x80) == 0;
}

bool lookhalf(const coder &how, const unsigned char *record, unsigned char *) {
    return (record[how.source] & 0x80) == 0;
}

template <bool reversed, size_t... index>
constexpr std::array<decltype(coder::code), mostwidth> bywidth(std::index_sequence<index...>) {
    return {codebinary<index + 1, reversed>...};
}

constexpr auto widths = std::make_index_sequence<mostwidth>();
constexpr auto straightcoders = bywidth<false>(widths);
constexpr auto reversedcoders = bywidth<true>(widths);

} // namespace

bool choosebinary(const cob_field &field, uint32_t at, coder &how) {
    if (field.size < 1 || field.size > mostwidth)
        return false;
    const bool issigned = (field.attr->flags & COB_FLAG_HAVE_SIGN) != 0;
    const bool swapped = (field.attr->flags & COB_FLAG_BINARY_SWAP) != 0;
    const bool reversed = std::endian::native == std::endian::little && !swapped;
    const bool half = !issigned && field.size == mostwidth && field.attr->digits <= quickdigits;
    how.source = at;
    how.length = static_cast<uint32_t>(field.size);
    how.flip = issigned ? 0x80 : 0;
    how.coded = reversed || issigned ? how.length : 0;
    if (half)
        how.code = reversed ? codehalf<true> : lookhalf;
    else if (how.coded != 0)
        how.code = (reversed ? reversedcoders : straightcoders)[field.size - 1];
    return true;
}

} // namespace cobsort
