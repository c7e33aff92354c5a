// The digits of a field become bytes that order as the number does.  Digits are taken as
// words, the last of which ends with the field and may lie over the one before:
//
//   PIC S9(5)  -12345   31 32 33 34 75      7E FD FC FB FA
//               12345   31 32 33 34 35      81 02 03 04 05
//   COMP-3    -012345   00 12 34 5D      7F FF ED CB AF
//              012345   00 12 34 5C      80 00 12 34 50
//
// The first byte is made higher by its top bit, which no digit of DISPLAY uses and which
// packed digits get in a byte of their own; of a negative number all bits are turned over.
// So a positive number stands behind a negative one, and of two of one sign the bytes order
// as the digits do or, negative, against them.  Zero is positive, whatever its sign.
#include "cobsort/decimals.h"

#include "cobsort/signs.h"

#include <bit>
#include <cstring>
#include <limits>

namespace cobsort {
namespace {

constexpr uint32_t mostdigits = 38;  // of any number of the run-time
constexpr uint32_t quickdigits = 18; // up to here version 3.2 compares as 64-bit integers

template <class word>
constexpr uint64_t every(uint64_t byte) {
    return byte * 0x0101010101010101 & std::numeric_limits<word>::max();
}

struct zoned {
    static constexpr uint32_t ahead = 0;
    static constexpr uint64_t zero = '0';
    // The top bit of a byte is set where it is over 9; a carry comes from such a byte alone.
    template <class word>
    static uint64_t faults(uint64_t digits) {
        return (digits | (digits + every<word>(0x76))) & every<word>(0x80);
    }
};

struct packed {
    static constexpr uint32_t ahead = 1;
    static constexpr uint64_t zero = 0;
    // A half is over 9 where 8 meets 4 or 2.
    template <class word>
    static uint64_t faults(uint64_t digits) {
        return digits & (digits << 1 | digits << 2) & every<word>(0x88);
    }
};

// The digits of one word, without what tells zones and sign.
template <class form, class word>
uint64_t digitsat(const coder &how, const unsigned char *field, uint32_t at, uint64_t change) {
    word raw;
    std::memcpy(&raw, field + at, sizeof(word));
    return raw ^ every<word>(form::zero) ^ (at == how.signword ? change : 0);
}

// Calls `each` with the offset of every word of the field.
template <class word, class call>
void eachword(uint32_t length, call each) {
    const uint32_t last = length - uint32_t{sizeof(word)};
    for (uint32_t at = 0; at < last; at += uint32_t{sizeof(word)})
        each(at);
    each(last);
}

template <class form, class word>
bool codesigned(const coder &how, const unsigned char *record, unsigned char *room) {
    const signcode sign = how.signs->of[record[how.signbyte]];
    const unsigned char *field = record + how.source;
    const uint64_t change = uint64_t{sign.change} << how.signshift;
    uint64_t faults = field[0] & how.padding;
    uint64_t value = 0;
    eachword<word>(how.length, [&](uint32_t at) {
        const uint64_t digits = digitsat<form, word>(how, field, at, change);
        faults |= form::template faults<word>(digits);
        value |= digits;
    });
    if (faults != 0 || sign.kind == signkind::none)
        return false;

    const bool negative = sign.kind == signkind::negative && value != 0;
    const uint64_t turn = negative ? ~uint64_t{0} : 0;
    room[0] = static_cast<unsigned char>(turn);
    eachword<word>(how.length, [&](uint32_t at) {
        const word digits = static_cast<word>(digitsat<form, word>(how, field, at, change) ^ turn);
        std::memcpy(room + form::ahead + at, &digits, sizeof(word));
    });
    room[0] ^= 0x80;
    return true;
}

// Digits without sign order as they stand.
template <class form, class word>
bool lookunsigned(const coder &how, const unsigned char *record, unsigned char *) {
    const unsigned char *field = record + how.source;
    uint64_t faults = field[0] & how.padding;
    eachword<word>(how.length, [&](uint32_t at) {
        faults |= form::template faults<word>(digitsat<form, word>(how, field, at, 0));
    });
    return faults == 0;
}

template <class form, class word>
void wire(coder &how, bool leading) {
    constexpr uint32_t width = sizeof(word);
    how.code = how.signs != nullptr ? codesigned<form, word> : lookunsigned<form, word>;
    how.coded = how.signs != nullptr ? form::ahead + how.length : 0;
    how.signword = leading ? 0 : how.length - width;
    const uint32_t index = leading ? 0 : width - 1;
    how.signshift = 8 * (std::endian::native == std::endian::little ? index : width - 1 - index);
}

// The widest word that the field holds.
template <class form>
void wireform(coder &how, bool leading) {
    if (how.length >= 8)
        wire<form, uint64_t>(how, leading);
    else if (how.length >= 4)
        wire<form, uint32_t>(how, leading);
    else if (how.length >= 2)
        wire<form, uint16_t>(how, leading);
    else
        wire<form, uint8_t>(how, leading);
}

bool has(const cob_field &field, unsigned flag) {
    return (field.attr->flags & flag) != 0;
}

} // namespace

bool choosezoned(const cob_field &field, uint32_t at, coder &how) {
    const bool issigned = has(field, COB_FLAG_HAVE_SIGN);
    const bool separate = has(field, COB_FLAG_SIGN_SEPARATE);
    const bool leading = has(field, COB_FLAG_SIGN_LEADING);
    const size_t digits = field.size - (separate ? 1 : 0);
    if (digits < 1 || digits > (field.attr->digits > quickdigits ? mostdigits : quickdigits) ||
        (!issigned && (separate || leading)))
        return false;
    how.source = at + (separate && leading ? 1 : 0);
    how.length = static_cast<uint32_t>(digits);
    how.signbyte = at + (leading ? 0 : static_cast<uint32_t>(field.size) - 1);
    if (issigned)
        how.signs = separate ? &separatesigns : &overpunchedsigns();
    wireform<zoned>(how, leading);
    return true;
}

// The run-time leaves the upper half of the first byte out where the number of digits says
// that it is none; versions differ in whether they compare it, and in what a negative scale
// does to that number.
bool choosepacked(const cob_field &field, uint32_t at, coder &how) {
    const bool nosign = has(field, COB_FLAG_NO_SIGN_NIBBLE);
    const bool issigned = has(field, COB_FLAG_HAVE_SIGN);
    const int digits = field.attr->digits;
    const int scale = field.attr->scale;
    const size_t most = nosign ? (size_t{field.attr->digits} + 1) / 2 : field.attr->digits / 2U + 1;
    if (digits < 1 || digits > static_cast<int>(mostdigits) || field.size > most ||
        has(field, COB_FLAG_SIGN_SEPARATE | COB_FLAG_SIGN_LEADING) || (nosign && issigned))
        return false;
    const int left = nosign ? 1 : 0; // digits that leave half a byte, modulo 2
    const bool half = (digits & 1) == left || (scale < 0 && ((digits + scale) & 1) == left);
    if (half && !nosign && field.size == 1) // the run-time reads beyond such a field
        return false;
    how.padding = half ? 0xF0 : 0;
    how.source = at;
    how.length = static_cast<uint32_t>(field.size);
    how.signbyte = at + how.length - 1;
    if (!nosign)
        how.signs = issigned ? &packedsigns : &packedunsigned;
    wireform<packed>(how, false);
    return true;
}

} // namespace cobsort
