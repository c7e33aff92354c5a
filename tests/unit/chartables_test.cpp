// The tables by their bytes: a checksum of each, which one wrong digit breaks, and a
// row that a reader can check.  The reference model reads the same tables.
#include "key/encode/chartables.h"

#include <gtest/gtest.h>

TEST(chartables, sums_and_landmarks) {
    using namespace kvern;
    const struct {
        const chartable &table;
        uint32_t sum;
        uint8_t byte, code;
    } cases[] = {
        {TBL_CLASS, 0x02A2D3C0, 'a', 1},    {TBL_CLASSK, 0x8ED834E0, 0x9F, 3},
        {TBL_A2E0, 0x761C5AD4, '!', 0x4F},  {TBL_A2E1, 0x8CF474C9, 0xB1, 0x81},
        {TBL_A2E2, 0x39519040, '$', 0xE0},  {TBL_E2A0, 0x77E65E39, 0x5B, '$'},
        {TBL_E2A1, 0x6201DA39, 0x5B, '\\'}, {TBL_E2A2, 0xBCD6AE7A, 0xE0, '$'},
    };
    for (const auto &one : cases) {
        uint32_t sum = 0x811C9DC5;
        for (const uint8_t byte : one.table.code)
            sum = (sum ^ byte) * 0x01000193;
        EXPECT_EQ(sum, one.sum) << std::hex << sum;
        EXPECT_EQ(one.table[one.byte], one.code);
    }
}
