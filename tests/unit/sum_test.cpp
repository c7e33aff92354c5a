// Adders against arithmetic of another kind.  Operands and sums lie in blocks of just
// their length, so that the sanitizer sees a byte too far.
#include "merge/adders.h"
#include "support/randomness.h"
#include "unit/enginecontext.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>

namespace kvern {
namespace {

using test::randomness;

#ifdef __SIZEOF_INT128__
__extension__ typedef __int128 wide;
constexpr uint32_t widestpacked = 16;
#else
using wide = int64_t;
constexpr uint32_t widestpacked = 9;
#endif

struct decimal {
    wide magnitude;
    bool minus; // of zero too
};

struct decimalformat {
    const char *what;
    adder add;
    uint8_t zone; // of plain digits; 0: packed
    const char *minussigns;
    uint8_t plusmark, minusmark; // that a sum gets
    uint32_t longest;

    bool overpunch() const { return add == add_zoned_o; }
    uint32_t digits(uint32_t length) const { return zone != 0 ? length : length * 2 - 1; }
    // Place of a digit, counted in nibbles from the last one.
    uint32_t nibble(uint32_t digit) const { return zone != 0 ? digit * 2 : digit + 1; }

    decimal decode(bytes field) const {
        uint8_t &last = field.back();
        if (overpunch() && last >= 'J' && last <= 'R')
            last = static_cast<uint8_t>(0x51 + (last - 'J'));
        else if (overpunch())
            last = last == '}' ? 0x50 : last == '{' ? 0x40 : last & 15;
        decimal value{0, false};
        for (uint32_t i = digits(static_cast<uint32_t>(field.size())); i-- != 0;) {
            const uint32_t place = nibble(i);
            const int byte = field[field.size() - 1 - place / 2];
            value.magnitude = value.magnitude * 10 + (place % 2 != 0 ? byte >> 4 : byte & 15);
        }
        const int sign = zone != 0 ? last >> 4 : last & 15;
        value.minus = std::strchr(minussigns, "0123456789ABCDEF"[sign]) != nullptr;
        return value;
    }
    bytes encode(decimal value, uint32_t length) const {
        bytes field(length, zone);
        for (uint32_t i = 0; i < digits(length); i++, value.magnitude /= 10) {
            uint8_t &byte = field[length - 1 - nibble(i) / 2];
            byte = static_cast<uint8_t>(byte | static_cast<int>(value.magnitude % 10)
                                                   << (nibble(i) % 2 * 4));
        }
        uint8_t &last = field.back();
        const int digit = zone != 0 ? last & 15 : last;
        last = overpunch()
                   ? static_cast<uint8_t>((value.minus ? "}JKLMNOPQR" : "{ABCDEFGHI")[digit])
                   : static_cast<uint8_t>(digit | (value.minus ? minusmark : plusmark));
        return field;
    }
};

const decimalformat decimals[] = {
    {"EBCDIC", add_zoned_e, 0xF0, "BD", 0xC0, 0xD0, 18},
    {"zone 5", add_zoned_5, 0x30, "5", 0x40, 0x50, 18},
    {"zone 7", add_zoned_7, 0x30, "7", 0x30, 0x70, 18},
    {"overpunch", add_zoned_o, 0x30, "5", 0, 0, 18},
    {"packed", add_packed, 0, "BD", 0x0C, 0x0D, widestpacked},
};

// Of equal signs the sum has that sign; a zero of different ones has the first's.
void check(const decimalformat &format, const bytes &a, const bytes &b, bytes &out) {
    const auto length = static_cast<uint32_t>(a.size());
    const decimal first = format.decode(a), second = format.decode(b);
    const wide total = (first.minus ? -first.magnitude : first.magnitude) +
                       (second.minus ? -second.magnitude : second.magnitude);
    wide limit = 1;
    for (uint32_t i = format.digits(length); i != 0; i--)
        limit *= 10;
    const bool fits = total < limit && -total < limit;
    const decimal sum{total < 0 ? -total : total, total != 0 ? total < 0 : first.minus};
    const addresult result = format.add(out.data(), a.data(), b.data(), length);
    if (result != (fits ? sum_done : sum_overflow) || (fits && out != format.encode(sum, length)))
        FAIL() << format.what << ": " << tohex(a) << " + " << tohex(b) << " gave " << result << ", "
               << tohex(out);
}

// Whatever stands there: bad digits count as what they are.
TEST(Sum, DecimalsOfOneByte) {
    for (const decimalformat &format : decimals) {
        bytes a(1), b(1), out(1);
        for (uint32_t pair = 0; pair < 0x10000 && !HasFailure(); pair++) {
            a[0] = static_cast<uint8_t>(pair >> 8), b[0] = static_cast<uint8_t>(pair);
            check(format, a, b, out);
        }
    }
}

TEST(Sum, DecimalsOfTwoBytes) {
    for (const decimalformat &format : decimals) {
        const int limit = format.zone != 0 ? 100 : 1000;
        std::vector<bytes> all; // 0 to limit - 1, then -0 to 1 - limit
        const int count = 2 * limit;
        all.reserve(static_cast<size_t>(count));
        for (int i = 0; i < count; i++)
            all.push_back(format.encode({i % limit, i >= limit}, 2));
        bytes out(2);
        for (int i = 0; i < count; i++)
            for (int j = 0; j < count; j++) {
                const int total = (i < limit ? i : limit - i) + (j < limit ? j : limit - j);
                const bool minus = total != 0 ? total < 0 : i >= limit;
                const bool fits = std::abs(total) < limit;
                const bytes &a = all[static_cast<size_t>(i)], &b = all[static_cast<size_t>(j)];
                const int sum = std::abs(total) + (minus ? limit : 0);
                if (format.add(out.data(), a.data(), b.data(), 2) !=
                        (fits ? sum_done : sum_overflow) ||
                    (fits && out != all[static_cast<size_t>(sum)]))
                    FAIL() << format.what << ": " << tohex(a) << " + " << tohex(b);
            }
    }
}

TEST(Sum, LongDecimals) {
    randomness r(53);
    for (const decimalformat &format : decimals)
        for (uint32_t round = 0; round < 20000 && !HasFailure(); round++) {
            const uint32_t length = r.onein(2) ? format.longest : r.between(3, format.longest);
            bytes operand[2], out(length);
            for (bytes &field : operand) {
                decimal value{0, r.onein(2)};
                for (uint32_t i = r.between(1, format.digits(length)); i != 0; i--)
                    value.magnitude = value.magnitude * 10 + (r.onein(3) ? 9 : r.below(10));
                field = format.encode(value, length);
            }
            if (r.onein(8)) // borrows all the way, zeros
                operand[1] = operand[0], operand[1].back() = static_cast<uint8_t>(r.byte());
            if (r.onein(4)) // rubbish
                operand[r.below(2)][r.below(length)] = static_cast<uint8_t>(r.byte());
            check(format, operand[0], operand[1], out);
        }
}

// Byte by byte; the same bytes as unsigned and as signed numbers.
void checkbinary(const bytes &a, const bytes &b, bytes &out) {
    const auto length = static_cast<uint32_t>(a.size());
    bytes sum(length);
    int carry = 0;
    for (uint32_t i = length; i-- != 0; carry >>= 8)
        sum[i] = static_cast<uint8_t>(carry += a[i] + b[i]);
    const bool turned = ((a[0] ^ sum[0]) & (b[0] ^ sum[0]) & 0x80) != 0;
    for (const adder add : {add_ubebin, add_sbebin}) {
        const bool fits = add == add_ubebin ? carry == 0 : !turned;
        const addresult result = add(out.data(), a.data(), b.data(), length);
        if (result != (fits ? sum_done : sum_overflow) || (fits && out != sum))
            FAIL() << tohex(a) << " + " << tohex(b) << " gave " << result << ", " << tohex(out);
    }
}

TEST(Sum, Binary) {
    randomness r(54);
    const auto split = [](bytes &field, uint32_t value) {
        for (size_t i = field.size(); i-- != 0; value >>= 8)
            field[i] = static_cast<uint8_t>(value);
    };
    bytes one(1), other(1), two(2), second(2), out(1), out2(2);
    for (uint32_t pair = 0; pair < 0x10000 && !HasFailure(); pair++) {
        split(one, pair >> 8), split(other, pair), split(two, pair);
        checkbinary(one, other, out);
        for (const uint32_t value : {0u, 1u, 0x7FFFu, 0x8000u, 0xFFFFu, 0x10000 - pair})
            split(second, value), checkbinary(two, second, out2);
    }
    for (uint32_t round = 0; round < 30000 && !HasFailure(); round++) {
        bytes a(r.between(1, 8)), b(a.size()), sum(a.size());
        for (bytes *field : {&a, &b})
            for (uint8_t &byte : *field)
                byte = r.pick<uint8_t>({0, 0x7F, 0x80, 0xFF, static_cast<uint8_t>(r.byte())});
        checkbinary(a, b, sum);
    }
}

addresult addtexts(const bytes &a, const bytes &b, std::string &sum) {
    bytes out(sum.size());
    const addresult result = add_text(out.data(), static_cast<uint32_t>(out.size()),
                                      {a.data(), static_cast<uint32_t>(a.size())},
                                      {b.data(), static_cast<uint32_t>(b.size())});
    sum.assign(out.begin(), out.end());
    return result;
}

TEST(Sum, TextNumbers) {
    const char *const none = "none", *const overflow = "over";
    const struct {
        const char *a, *b, *sum; // the sum's length is the field's
    } cases[] = {
        {"  12", "  -3", "0009"},
        {" +12", "   3", "0015"},
        {"-  5", "0012", "0007"},
        {"- 12", "+  3", "-009"},
        {"  -0", "-  0", "-000"},
        {"+ 05", "  -5", "0000"},
        {" +12", "-0 3", none},
        {"+999", "   1", "1000"}, // a mark that is not written takes no digit's place
        {"+999", "  +1", overflow},
        {"9", "3", "0012"}, // shorter than the sum: fields of a line
        {"7", " -8", "-01"},
        {"12 ", "3", none},
        {"3", "12 ", none},
        {"", "3", none},
        {"   ", "3", none},
        {" + ", "3", none},
        {"+-1", "3", none},
        {"1+1", "3", none},
        {"\t12", "3", none},
        {"1\xB2", "3", none},
        {"1/", "3", none},
        {"1:", "3", none},
    };
    for (const auto &c : cases) {
        std::string sum = c.sum;
        const addresult result = addtexts(fromtext(c.a), fromtext(c.b), sum);
        EXPECT_EQ(result, c.sum == none       ? sum_unusable
                          : c.sum == overflow ? sum_overflow
                                              : sum_done)
            << c.a << " + " << c.b;
        if (result == sum_done) {
            EXPECT_EQ(sum, c.sum) << c.a << " + " << c.b;
        }
    }
}

// Against numbers of the machine and their spellings.
TEST(Sum, TextNumbersAtRandom) {
    randomness r(55);
    const char *const spellings[] = {"%*" PRId64, "%0*" PRId64, "%+*" PRId64, "%+0*" PRId64};
    const auto spell = [&](uint32_t spelling, uint32_t width, int64_t value) {
        char text[32];
        std::snprintf(text, sizeof text, spellings[spelling], static_cast<int>(width), value);
        return std::string(text);
    };
    for (uint32_t round = 0; round < 30000; round++) {
        const uint32_t width = r.between(2, 18);
        int64_t limit = 9, value[2];
        for (uint32_t i = r.between(2, width); i > 2; i--)
            limit = limit * 10 + 9;
        uint32_t spelling[2];
        for (const int i : {0, 1}) {
            value[i] =
                static_cast<int64_t>(r.bits() % static_cast<uint64_t>(2 * limit + 1)) - limit;
            spelling[i] = r.below(4);
        }
        const int64_t total = value[0] + value[1];
        const bool plus[2] = {spelling[0] >= 2 && value[0] >= 0, spelling[1] >= 2 && value[1] >= 0};
        const bool alike = (value[0] < 0) == (value[1] < 0);
        const bool marked = alike ? plus[0] && plus[1] : total > 0 && (plus[0] || plus[1]);
        const std::string a = spell(spelling[0], width, value[0]);
        const std::string b = spell(spelling[1], width, value[1]);
        const std::string expected = spell(marked ? 3 : 1, width, total);
        std::string sum(width, '?');
        const addresult result = addtexts(fromtext(a), fromtext(b), sum);
        ASSERT_EQ(result, expected.size() > width ? sum_overflow : sum_done) << a << " + " << b;
        if (result == sum_done) {
            ASSERT_EQ(sum, expected) << a << " + " << b;
        }
    }
}

} // namespace
} // namespace kvern
