// Adders: the formats of numbers, and digits that are none, which the model leaves open.
#include "merge/sum/adders.h"

#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace kvern {
namespace {

addresult addtexts(uint8_t *sum, const uint8_t *a, const uint8_t *b, uint32_t length) {
    return add_text(sum, length, {a, length}, {b, length});
}

TEST(sums, by_format) {
    const std::string over = "over";
    const struct {
        adder add;
        std::string a, b, sum;
    } cases[] = {
        {add_zoned_e, "\xF1\xC9", "\xF0\xB1", "\xF1\xC8"},
        {add_zoned_e, "\xF0\xF1", "\xF0\xD2", "\xF0\xD1"},
        {add_zoned_5, "19", "0Q", "1H"},
        {add_zoned_5, "0q", "0R", "0Q"},
        {add_zoned_7, "19", "0q", "18"},
        {add_zoned_7, "0Q", "0r", "0q"},
        {add_zoned_o, "1I", "0J", "1H"},
        {add_zoned_o, "01", "0K", "0J"},
        {add_zoned_o, "0}", "0{", "0}"},
        {add_zoned_o, "1Q", "0J", "1R"},
        {add_zoned_o, "1R", "0J", "2}"},
        {add_zoned_o, "10000000000000000{", "00000000000000000J", "09999999999999999I"},
        {add_packed, "\x01\x9C", "\x10\x1B", "\x08\x2D"},
        {add_packed, std::string(16, '\x99'), std::string(15, '\0') + "\x1A", over},
        {add_ubebin, "\x7F\xFF", "\x80\x01", over},
        {add_sbebin, "\x80\x01", "\x7F\xFF", std::string(2, '\0')},
        {add_sbebin, "\x7F\xFF", "\x7F\xFF", over},
        {addtexts, "  12", "  -3", "0009"},
        {addtexts, " +12", "   3", "0015"},
        {addtexts, "-  5", "0012", "0007"},
        {addtexts, "- 12", "+  3", "-009"},
        {addtexts, "  -0", "-  0", "-000"},
        {addtexts, "+ 05", "  -5", "0000"},
        {addtexts, "+999", "   1", "1000"}, // a mark that is not written takes no digit's place
        {addtexts, "+999", "  +1", over},
    };
    for (const auto &one : cases) {
        std::vector<uint8_t> sum(one.a.size());
        const auto *a = reinterpret_cast<const uint8_t *>(one.a.data());
        const auto *b = reinterpret_cast<const uint8_t *>(one.b.data());
        const addresult result = one.add(sum.data(), a, b, static_cast<uint32_t>(sum.size()));
        const std::string text(sum.begin(), sum.end());
        EXPECT_EQ(result == sum_done ? text : "over", one.sum) << one.a << " + " << one.b;
    }
    const uint8_t good[] = {' ', ' ', '3'};
    for (const char *text : {"12 ", "   ", " + ", "+-1", "1+1", " 1/", " 1:", "\t12"}) {
        const auto *bad = reinterpret_cast<const uint8_t *>(text);
        uint8_t sum[3];
        EXPECT_EQ(addtexts(sum, bad, good, 3), sum_unusable) << text;
        EXPECT_EQ(addtexts(sum, good, bad, 3), sum_unusable) << text;
    }
}

// They count as what they are, tens carried on.
TEST(sums, of_bad_digits) {
    const auto encoded = [](int tens, int ones, bool minus) {
        return std::array<uint8_t, 2>{static_cast<uint8_t>(0xF0 | tens),
                                      static_cast<uint8_t>((minus ? 0xD0 : 0xC0) | ones)};
    };
    const auto value = [](int digits) { return digits / 16 % 16 * 10 + digits % 16; };
    for (int a = 0; a < 512; ++a)
        for (int b = 0; b < 512; ++b) { // the ninth bit is the sign
            const auto first = encoded(a / 16 % 16, a % 16, a > 255);
            const auto second = encoded(b / 16 % 16, b % 16, b > 255);
            const int total = (a > 255 ? -value(a) : value(a)) + (b > 255 ? -value(b) : value(b));
            const int size = std::abs(total);
            std::array<uint8_t, 2> sum;
            ASSERT_EQ(add_zoned_e(sum.data(), first.data(), second.data(), 2),
                      size < 100 ? sum_done : sum_overflow);
            if (size < 100) {
                ASSERT_EQ(sum, encoded(size / 10, size % 10, total != 0 ? total < 0 : a > 255))
                    << a << " + " << b;
            }
        }
}

} // namespace
} // namespace kvern
