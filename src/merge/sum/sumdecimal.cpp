// Zoned and packed decimal: both are unpacked to digits and a sign, added there, and
// packed again.
//
//   zone 5      +125 31 32 35   -30 30 33 50   digits 1 2 5 - 0 3 0   95 30 39 45
//   packed      +125 12 5C      -30 03 0D                             95 09 5C
//
// A difference of magnitudes that comes out below zero stands as its ten's complement
// and is turned round; the sign then is the second operand's.  A zero keeps the sign
// of the first: intended.
#include "merge/sum/adders.h"

#include "key/encode/zonesign.h"

namespace kvern {
namespace {

constexpr uint32_t mostdigits = 31; // packed in 16 bytes; zoned has 18

struct decimal {
    uint8_t digit[mostdigits]; // the first weighs most; above 9 in bad data
    bool negative;
};

template <typename Sign>
struct zoned {
    static constexpr uint32_t digits(uint32_t length) { return length; }

    static void unpack(decimal &number, const uint8_t *field, uint32_t length) {
        const uint32_t last = length - 1;
        for (uint32_t i = 0; i < last; i++)
            number.digit[i] = digitof(field[i]);
        number.digit[last] = Sign::value(field[last]);
        number.negative = Sign::negative(field[last]);
    }
    static void pack(uint8_t *field, uint32_t length, const decimal &number) {
        const uint32_t last = length - 1;
        for (uint32_t i = 0; i < last; i++)
            field[i] = withzone(Sign::filler, number.digit[i]);
        field[last] = Sign::marked(number.digit[last], number.negative);
    }
};

struct packed {
    static constexpr uint32_t digits(uint32_t length) { return length * 2 - 1; }

    static void unpack(decimal &number, const uint8_t *field, uint32_t length) {
        const uint8_t *const last = field + (length - 1);
        uint8_t *digit = number.digit;
        for (; field != last; field++) {
            *digit++ = *field >> 4;
            *digit++ = digitof(*field);
        }
        *digit = *last >> 4;
        number.negative = packedsign::negative(*last);
    }
    static void pack(uint8_t *field, uint32_t length, const decimal &number) {
        const uint8_t *const last = field + (length - 1);
        const uint8_t *digit = number.digit;
        for (; field != last; field++, digit += 2)
            *field = static_cast<uint8_t>(digit[0] << 4 | digit[1]);
        *field = packedsign::marked(*digit, number.negative);
    }
};

// a + factor * b, digit by digit; what is carried out of the first one, in tens.  Good
// digits carry 0 or `factor`, bad ones between -2 and 3.
int32_t combinedigits(decimal &sum, const decimal &a, const decimal &b, int32_t factor,
                      uint32_t count) {
    constexpr int32_t shift = 2; // tens added and taken off, so that nothing is divided below zero
    int32_t carry = 0;
    for (uint32_t i = count; i-- != 0;) {
        const int32_t column = a.digit[i] + factor * b.digit[i] + carry + shift * 10;
        carry = column / 10 - shift;
        sum.digit[i] = static_cast<uint8_t>(column % 10);
    }
    return carry;
}

// False for all zeros, which only bad digits lead to: their complement has a digit more.
bool tenscomplement(decimal &number, uint32_t count) {
    uint32_t at = count;
    while (at != 0 && number.digit[at - 1] == 0)
        at--;
    if (at == 0)
        return false;
    at--;
    number.digit[at] = static_cast<uint8_t>(10 - number.digit[at]);
    while (at-- != 0)
        number.digit[at] = static_cast<uint8_t>(9 - number.digit[at]);
    return true;
}

// False: the sum has more digits.
bool total(decimal &sum, const decimal &a, const decimal &b, uint32_t count) {
    sum.negative = a.negative;
    const bool subtracting = a.negative != b.negative;
    const int32_t carry = combinedigits(sum, a, b, subtracting ? -1 : 1, count);
    if (carry == 0)
        return true;
    if (!subtracting || carry != -1)
        return false;
    sum.negative = b.negative;
    return tenscomplement(sum, count);
}

template <typename Format>
addresult adddecimal(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    decimal first = {}, second = {}, result = {};
    Format::unpack(first, a, length);
    Format::unpack(second, b, length);
    if (!total(result, first, second, Format::digits(length)))
        return sum_overflow;
    Format::pack(sum, length, result);
    return sum_done;
}

} // namespace

addresult add_zoned_e(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return adddecimal<zoned<ebcdicsign>>(sum, a, b, length);
}
addresult add_zoned_5(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return adddecimal<zoned<zone5sign>>(sum, a, b, length);
}
addresult add_zoned_7(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return adddecimal<zoned<zone7sign>>(sum, a, b, length);
}
addresult add_zoned_o(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return adddecimal<zoned<overpunchsign>>(sum, a, b, length);
}
addresult add_packed(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return adddecimal<packed>(sum, a, b, length);
}

} // namespace kvern
