// The tables by their properties: classes at their bounds, and the two
// directions of a code against each other.

#include "key/chartables.h"

#include <gtest/gtest.h>

#include <vector>

using namespace kvern;

namespace {

TEST(chartables, classes) {
    const struct {
        unsigned first, last, what, kanji;
    } ranges[] = {
        {0x00, 0x1F, 0, 0}, {0x20, 0x20, 2, 2}, {0x21, 0x2F, 3, 3}, {0x30, 0x39, 2, 2},
        {0x3A, 0x40, 3, 3}, {0x41, 0x5A, 2, 2}, {0x5B, 0x60, 3, 3}, {0x61, 0x7A, 1, 1},
        {0x7B, 0x7E, 3, 3}, {0x7F, 0x7F, 0, 0}, {0x80, 0x9F, 0, 3}, {0xA0, 0xFE, 3, 3},
        {0xFF, 0xFF, 0, 0},
    };
    unsigned next = 0;
    for (const auto &one : ranges) {
        ASSERT_EQ(one.first, next);
        for (; next <= one.last; ++next) {
            EXPECT_EQ(TBL_CLASS.code[next], one.what) << next;
            EXPECT_EQ(TBL_CLASSX.code[next], one.what) << next;
            EXPECT_EQ(TBL_CLASSK.code[next], one.kanji) << next;
        }
    }
    EXPECT_EQ(next, 256u);
}

// A byte that has a counterpart comes back by the table of the other direction;
// the few that do not are told.
struct direction {
    const char *name;
    const chartable &there, &back;
    uint8_t undefined;
    unsigned defined;
    std::vector<unsigned> oneway;
};

TEST(chartables, directions_agree) {
    const direction directions[] = {
        {"A2E0", TBL_A2E0, TBL_E2A0, 0x3F, 128, {0xFF}},
        {"E2A0", TBL_E2A0, TBL_A2E0, 0x1A, 127, {}},
        {"A2E1", TBL_A2E1, TBL_E2A1, 0x3F, 219, {0x98, 0xFF}},
        {"E2A1", TBL_E2A1, TBL_A2E1, 0x1A, 220, {0x2C, 0x38, 0xE1}},
        {"A2E2", TBL_A2E2, TBL_E2A2, 0x3F, 128, {0xFF}},
        {"E2A2", TBL_E2A2, TBL_A2E2, 0x1A, 128, {0x2C}},
    };
    for (const direction &one : directions) {
        unsigned defined = 0;
        std::vector<unsigned> oneway;
        for (unsigned byte = 0; byte < 256; ++byte) {
            const uint8_t code = one.there.code[byte];
            if (code == one.undefined)
                continue;
            ++defined;
            if (one.back[code] != byte)
                oneway.push_back(byte);
        }
        EXPECT_EQ(defined, one.defined) << one.name;
        EXPECT_EQ(oneway, one.oneway) << one.name;
    }
}

TEST(chartables, landmarks) {
    const struct {
        const chartable &table;
        uint8_t byte, code;
    } marks[] = {
        {TBL_A2E0, 'a', 0x81},  {TBL_A2E0, 'A', 0xC1},   {TBL_A2E0T, '9', 0xF9},
        {TBL_A2E1, 'a', 0x3F},  {TBL_A2E1, 0xB1, 0x81},  {TBL_A2E1T, 0x98, 0x37},
        {TBL_A2E2, '$', 0xE0},  {TBL_A2E2T, '\\', 0x5B}, {TBL_A2E0, '!', 0x4F},
        {TBL_E2A0, 0x5B, '$'},  {TBL_E2A1, 0x5B, '\\'},  {TBL_E2A2, 0x5B, '\\'},
        {TBL_E2A2, 0x2C, 0xA1}, {TBL_E2A2, 0xE0, '$'},   {TBL_E2A1, 0x81, 0xB1},
    };
    for (const auto &one : marks)
        EXPECT_EQ(one.table[one.byte], one.code) << unsigned(one.byte);
}

} // namespace
