// Zoned numbers in the form of packed ones, and the table of all comparators.
//
// Two digits a byte, the last digit alone in the high nibble of byte 0, the marker
// of the sign on top; a negative number complemented, as keys are:
//
//   +123    31 32 33   as packed   30 12 00 FF      packed 00 12 3C  the same
//   -123    31 32 53                 C0 ED FF 00
//
// A number that is half as long as its field leaves zero bytes below the marker,
// just where the leading zeros of a widened packed number come to lie.

#include "select/comparators.h"

#include "key/encode/binarykeys.h"
#include "key/encode/decimalkeys.h"
#include "key/encode/plainkeys.h"
#include "key/encode/textkeys.h"

#include <iterator>

namespace kvern {

namespace {

using namespace keyform;

constexpr uint8_t highdigit(uint8_t byte) {
    return static_cast<uint8_t>(byte << 4);
}
constexpr uint8_t digitpair(const uint8_t *two) {
    return static_cast<uint8_t>(highdigit(two[0]) | digitof(two[1]));
}

// An odd first digit stands alone in a low nibble.
template <typename Sign>
struct aspacked {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        const uint32_t length = field.len;
        const uint8_t last = source[length - 1];
        const uint8_t flip = flipof(Sign::negative(last));
        key[0] = static_cast<uint8_t>((highdigit(last) ^ flip) & 0xF0);
        uint32_t used = 1;
        uint32_t left = length - 1;
        for (; left >= 2; left -= 2)
            key[used++] = static_cast<uint8_t>(digitpair(source + (left - 2)) ^ flip);
        if (left != 0)
            key[used++] = static_cast<uint8_t>(digitof(source[0]) ^ flip);
        memset(key + used, flip, length - used);
        key[length] = markerof(flip);
        return codedlength(length + 1);
    }
};

// The digits lie the other way round, the last one on top, and the sign is not
// looked at: equal digits are equal, whatever their signs, the order is not that
// of numbers, and no packed number is equal.  Intended, programs live with it.
//
//   -12   31 4B   FF 01 20
template <>
struct aspacked<overpunchsign> {
    static int32_t encode(uint8_t *key, const uint8_t *source, const keyfield &field) {
        const uint32_t length = field.len;
        key[length] = highdigit(overpunchsign::value(source[length - 1]));
        uint32_t at = length;
        uint32_t left = length - 1;
        for (; left >= 2; left -= 2)
            key[--at] = digitpair(source + (left - 2));
        if (left != 0)
            key[--at] = digitof(source[0]);
        memset(key, 0, at);
        key[0] = 0xFF;
        return codedlength(length + 1);
    }
};

constexpr codings onlyebcdic = {coded<reversed>};
constexpr codings onlyascii = {nocoding, coded<reversed>, coded<reversed>, coded<reversed>};

constexpr comparison comparisons[] = {
    // clang-format off
    {0, nullptr, {}},
    {KVRN_CHAR, nullptr, onlyascii, coded<linetext>},
    {KVRN_CHARX, nullptr, onlyebcdic},
    {KVRN_MASKBYTE, nullptr, everycode<masked>},
    {KVRN_UBEBIN, widenzeros, everycode<reversed>},
    {KVRN_SBEBIN, widensign, everycode<bigendian>},
    {KVRN_PACKED, widenzeros, everycode<packed>},
    {KVRN_ZONED, widendigits, bysign<aspacked>},
    {KVRN_SIGNLEAD, widensigned, bycharset<signfirst<ebcdicminus>, signfirst<asciiminus>>},
    {KVRN_SIGNTRAIL, widendigits, bycharset<signlast<ebcdicminus>, signlast<asciiminus>>},
    {KVRN_ZONEDLEAD, widendigit, bysign<zonedfirst>},
    {KVRN_ZONEDU, widendigits, bysign<zonedlast>},
    {KVRN_COLLATE, nullptr, everycode<reserved>, coded<reserved>},
    {KVRN_WIDE2, nullptr, everycode<reserved>},
    {KVRN_WIDE4, nullptr, everycode<reserved>},
    // clang-format on
};

struct typeindex {
    uint8_t row[256]; // 0: no comparator
};
constexpr typeindex indextypes() {
    typeindex index{};
    for (size_t i = 1; i < std::size(comparisons); ++i)
        index.row[comparisons[i].type] = static_cast<uint8_t>(i);
    return index;
}
constexpr typeindex bytype = indextypes();

} // namespace

const comparison &comparisonof(uint8_t type) {
    return comparisons[bytype.row[type]];
}

} // namespace kvern
