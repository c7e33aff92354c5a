// Text numbers: blanks, a sign with blanks around it, digits up to the end.
//
//   "  12" + "  -3"   "0009"   the larger number has no mark, so the sum has none
//   " +12" + "  +3"   "+015"   both have one
//   " +12" + "   3"   "0015"
//   "  -5" + "  05"   "0000"   equal magnitudes: never a mark
#include "merge/sum/adders.h"

#include <cstring>

namespace kvern {
namespace {

constexpr uint8_t nomark = 0;

struct number {
    const uint8_t *digits;
    uint32_t count; // 1 or more
    uint8_t mark;   // '+', '-' or nomark

    bool negative() const { return mark == '-'; }
    int32_t fromright(uint32_t at) const { return at < count ? digits[count - 1 - at] - '0' : 0; }
    // The last digit is kept.
    void skipzeros() {
        for (; count > 1 && *digits == '0'; count--)
            digits++;
    }
};

const uint8_t *pastblanks(const uint8_t *at, const uint8_t *end) {
    while (at != end && *at == ' ')
        at++;
    return at;
}

// False: not a number.
bool readnumber(number &found, textnumber text) {
    const uint8_t *const end = text.bytes + text.length;
    const uint8_t *at = pastblanks(text.bytes, end);
    found.mark = nomark;
    if (at != end && (*at == '+' || *at == '-')) {
        found.mark = *at;
        at = pastblanks(at + 1, end);
    }
    found.digits = at;
    found.count = static_cast<uint32_t>(end - at);
    for (; at != end; at++)
        if (*at < '0' || *at > '9')
            return false;
    return found.count != 0;
}

// Both without leading zeros.
int comparesizes(const number &a, const number &b) {
    if (a.count != b.count)
        return a.count < b.count ? -1 : 1;
    return memcmp(a.digits, b.digits, a.count);
}

// a + factor * b, with leading zeros behind the mark.  A number of a sum with a mark
// has one itself, so its digits always have room; what is carried out is the result.
int32_t combinetexts(uint8_t *sum, uint32_t length, uint8_t mark, const number &a, const number &b,
                     int32_t factor) {
    if (mark != nomark) {
        *sum++ = mark;
        length--;
    }
    int32_t carry = 0;
    for (uint32_t i = 0; i < length; i++) {
        const int32_t column = a.fromright(i) + factor * b.fromright(i) + carry + 10;
        carry = column / 10 - 1;
        sum[length - 1 - i] = static_cast<uint8_t>('0' + column % 10);
    }
    return carry;
}

} // namespace

addresult add_text(uint8_t *sum, uint32_t length, textnumber a, textnumber b) {
    number first, second;
    if (!readnumber(first, a) || !readnumber(second, b))
        return sum_unusable;
    if (first.negative() == second.negative()) {
        const uint8_t mark = first.mark == second.mark ? first.mark : nomark;
        return combinetexts(sum, length, mark, first, second, 1) == 0 ? sum_done : sum_overflow;
    }
    first.skipzeros();
    second.skipzeros();
    const int order = comparesizes(first, second);
    if (order == 0) {
        memset(sum, '0', length);
        return sum_done;
    }
    const number &larger = order > 0 ? first : second;
    const number &smaller = order > 0 ? second : first;
    (void)combinetexts(sum, length, larger.mark, larger, smaller, -1);
    return sum_done;
}

} // namespace kvern
