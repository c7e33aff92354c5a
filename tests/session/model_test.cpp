// The model against plain arithmetic and hand-made cases, so that it can be
// trusted where it differs from the engine.
#include "model/model.h"
#include "support/fieldvalues.h"

#include <gtest/gtest.h>

namespace kvern::test {

// Every numeric type in every code: the order of fields is the order of numbers.
TEST(model, numbers) {
    constexpr uint8_t types[] = {162, 163, 164, 165, 166, 194, 195, 196, 197, 199};
    randomness r(20240229);
    sessionspec spec;
    for (spec.cdmode = 236; spec.cdmode <= 239; ++spec.cdmode)
        for (const uint8_t type : types)
            for (int i = 0; i < 400; ++i) {
                const keyspec key{0, 8, type, r.code({KVRN_ASCENDING, KVRN_DESCENDING})};
                const int64_t a = r.below(2001) - 1000LL, b = r.onein(4) ? a : r.below(9) - 4LL;
                const auto value = [&](int64_t n) {
                    return valueof(spec, key, fieldof(type, key.length, spec.cdmode, n, r));
                };
                const auto wanted = key.order == KVRN_DESCENDING ? b <=> a : a <=> b;
                ASSERT_EQ(compare(value(a), value(b)) <=> 0, wanted)
                    << +type << ' ' << a << ' ' << b;
            }
}

TEST(model, fields_of_lines) {
    using list = std::vector<bytes>;
    sessionspec spec;
    spec.form = 'r';
    spec.fieldmode = KVRN_FIELDS;
    EXPECT_EQ(fieldsof(spec, "\ta\t b "), (list{"\ta", " b", ""}));
    spec.separator = ",";
    EXPECT_EQ(fieldsof(spec, ",a,,b"), (list{"", "a", "", "b"}));
    spec.separator = "\\"; // 0x5C ends many double-byte characters
    EXPECT_EQ(fieldsof(spec, "\x83\\\\z"), (list{"\x83", "", "z"}));
    spec.keyoption2 = KVRN_KANJI_JIS;
    EXPECT_EQ(fieldsof(spec, "\x83\\\\z"),
              leadbyte('\x83') ? (list{"\x83\\", "z"}) : (list{"\x83", "", "z"}));
}

TEST(model, sums) {
    const struct {
        uint8_t type, cdmode;
        bytes first, second, sum; // empty: overflow, or no number
    } cases[] = {
        {162, 237, "005", "00U", bytes("00\x40", 3)},
        {162, 239, "1}", "0K", "1K"},
        {197, 0, "\x12\x3C", "\x20\x0D", "\x07\x7D"},
        {197, 0, "\x99\x9C", bytes("\x00\x1C", 2), ""},
        {194, 0, "\xFF\xFF", bytes("\x00\x01", 2), bytes("\x00\x00", 2)},
        {198, 0, bytes("\x00\xFF\xFF", 3), bytes("\x00\x00\x01", 3), bytes("\x01\x00\x00", 3)},
        {161, 0, "  12", "  -3", "0009"},
        {161, 0, "  12", " -12", "0000"},
        {161, 0, "- 13", "   2", "-011"},
    };
    for (const auto &c : cases) {
        sessionspec spec;
        spec.form = c.type == KVRN_CHAR ? 'r' : 'f';
        spec.cdmode = c.cdmode;
        spec.reclen = static_cast<uint32_t>(c.first.size() + spec.delimiter().size());
        spec.sums = {{0, static_cast<uint32_t>(c.first.size()), c.type}};
        bytes sum = c.first;
        EXPECT_EQ(fold(spec, sum, c.second) == 0, !c.sum.empty()) << visible(c.first);
        EXPECT_EQ(sum, c.sum.empty() ? c.first : c.sum) << visible(c.first);
    }
}

TEST(model, operands) {
    const struct {
        uint8_t ltype, rtype;
        bytes left, right;
        int order;
        uint8_t cdmode = KVRN_CD_ZONE5;
    } cases[] = {
        {161, 161, "abc", "abcde", 0},     {162, 162, "0U", "000U", 0},
        {194, 194, "\xFF", "\xFF\xFF", 0}, {198, 198, "\xFF", "\xFF\xFF", -1},
        {197, 162, "\x12\x3C", "123", 0},  {162, 162, "0P", "00", -1},
        {163, 164, "-12", "012-", 0},      {165, 166, "Q2", "01R", 0},
        {162, 162, "12{", "21{", -1, 239}, {162, 162, "12", "1K", 0, 239},
    };
    for (const auto &c : cases) {
        sessionspec spec;
        spec.cdmode = c.cdmode;
        const auto end = static_cast<uint32_t>(c.left.size());
        const auto more = static_cast<uint32_t>(c.right.size());
        const auto keeps = [&](uint8_t op) {
            spec.conditions = {{op, c.ltype, c.rtype, 0, 0, end, end, more}};
            return selected(spec, c.left + c.right).keep;
        };
        EXPECT_EQ(keeps(KVRN_OP_GT) - keeps(KVRN_OP_LT), c.order) << visible(c.left);
    }
}

TEST(model, differences_are_found) {
    sessionspec spec;
    spec.reclen = 2;
    spec.keys = {{0, 1}};
    spec.inputs = {{"b1", "a2", "b0", "a1"}};
    const auto right = [&](const std::vector<bytes> &output) {
        return difference(spec, outcomeof(spec), output).empty();
    };
    EXPECT_TRUE(right({"a1", "a2", "b0", "b1"}));
    EXPECT_FALSE(right({"a1", "b0", "a2", "b1"}));
    EXPECT_FALSE(right({"a1", "a1", "b0", "b1"}));
    EXPECT_FALSE(right({"a1", "a2", "b0"}));
    EXPECT_FALSE(right({"a1", "a2", "b0", "b1", "b1"}));
    spec.keeporder = true;
    EXPECT_FALSE(right({"a1", "a2", "b0", "b1"}));
    EXPECT_TRUE(right({"a2", "a1", "b1", "b0"}));
    spec.keeporder = false;
    spec.suppress = true;
    EXPECT_TRUE(right({"a1", "b0"}));
    EXPECT_FALSE(right({"a3", "b0"}));
}

} // namespace kvern::test
