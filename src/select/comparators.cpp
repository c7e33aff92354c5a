// Zoned numbers in the form of packed ones, and the table of all comparators.
//
// Two digits a byte, the last digit alone in the high nibble of byte 0, the marker
// of the sign on top; a negative number complemented, as keys are:
//
//   +123    31 32 33   sel_zoned_5   30 12 00 FF      packed 00 12 3C  the same
//   -123    31 32 53                 C0 ED FF 00
//
// A number that is half as long as its field leaves zero bytes below the marker,
// just where the leading zeros of a widened packed number come to lie.

#include "select/comparators.h"

#include "key/encode/encoders.h"
#include "key/encode/reversal.h"

#include <cstring>
#include <iterator>

namespace kvern {

namespace {

constexpr uint8_t highdigit(uint8_t byte) {
    return static_cast<uint8_t>(byte << 4);
}
constexpr uint8_t digitpair(const uint8_t *two) {
    return static_cast<uint8_t>(highdigit(two[0]) | digitof(two[1]));
}

// An odd first digit stands alone in a low nibble.
template <typename Sign>
int32_t zonedaspacked(uint8_t *dst, const uint8_t *src, uint32_t length) {
    const uint8_t last = src[length - 1];
    const uint8_t flip = flipof(Sign::negative(last));
    dst[0] = static_cast<uint8_t>((highdigit(last) ^ flip) & 0xF0);
    uint32_t used = 1;
    uint32_t left = length - 1;
    for (; left >= 2; left -= 2)
        dst[used++] = static_cast<uint8_t>(digitpair(src + (left - 2)) ^ flip);
    if (left != 0)
        dst[used++] = static_cast<uint8_t>(digitof(src[0]) ^ flip);
    memset(dst + used, flip, length - used);
    dst[length] = static_cast<uint8_t>(~flip);
    return codedlength(length + 1);
}

constexpr comparison comparisons[] = {
    // clang-format off
    {0, nullptr, {}},
    {KVRN_CHAR, nullptr, {nullptr, enc_rev, enc_rev, enc_rev}},
    {KVRN_CHARX, nullptr, {enc_rev, nullptr, nullptr, nullptr}},
    {KVRN_MASKBYTE, nullptr, {enc_mask, enc_mask, enc_mask, enc_mask}},
    {KVRN_UBEBIN, widenzeros, {enc_rev, enc_rev, enc_rev, enc_rev}},
    {KVRN_SBEBIN, widensign, {enc_bebin, enc_bebin, enc_bebin, enc_bebin}},
    {KVRN_PACKED, widenzeros, {enc_packed, enc_packed, enc_packed, enc_packed}},
    {KVRN_ZONED, widendigits, {sel_zoned_e, sel_zoned_5, sel_zoned_7, sel_zoned_o}},
    {KVRN_SIGNLEAD, widensigned, {enc_lead_e, enc_lead, enc_lead, enc_lead}},
    {KVRN_SIGNTRAIL, widendigits, {enc_trail_e, enc_trail, enc_trail, enc_trail}},
    {KVRN_ZONEDLEAD, widendigit, {enc_zlead_e, enc_zlead_5, enc_zlead_7, enc_zlead_o}},
    {KVRN_ZONEDU, widendigits, {enc_ztrail_e, enc_ztrail_5, enc_ztrail_7, enc_ztrail_o}},
    {KVRN_COLLATE, nullptr, {enc_none, enc_none, enc_none, enc_none}},
    {KVRN_WIDE2, nullptr, {enc_none, enc_none, enc_none, enc_none}},
    {KVRN_WIDE4, nullptr, {enc_none, enc_none, enc_none, enc_none}},
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

int32_t sel_zoned_e(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                    const keyextra &) {
    return zonedaspacked<ebcdicsign>(dst, src, length);
}

int32_t sel_zoned_5(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                    const keyextra &) {
    return zonedaspacked<zone5sign>(dst, src, length);
}

int32_t sel_zoned_7(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                    const keyextra &) {
    return zonedaspacked<zone7sign>(dst, src, length);
}

// The digits lie the other way round, the last one on top, and the sign is not
// looked at: equal digits are equal, whatever their signs, the order is not that
// of numbers, and no packed number is equal.  Intended, programs live with it.
//
//   -12   31 4B   FF 01 20
int32_t sel_zoned_o(qha5ctx *, uint8_t *dst, const uint8_t *src, uint32_t length, uint8_t,
                    const keyextra &) {
    dst[length] = highdigit(overpunchsign::value(src[length - 1]));
    uint32_t at = length;
    uint32_t left = length - 1;
    for (; left >= 2; left -= 2)
        dst[--at] = digitpair(src + (left - 2));
    if (left != 0)
        dst[--at] = digitof(src[0]);
    memset(dst, 0, at);
    dst[0] = 0xFF;
    return codedlength(length + 1);
}

} // namespace kvern
