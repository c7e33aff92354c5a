// The model against plain arithmetic and hand-made cases, so that it can be
// trusted where it differs from the engine.
#include "model/model.h"
#include "model/selection.h"
#include "model/totals.h"
#include "support/fieldvalues.h"
#include "support/randomness.h"

#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr uint8_t decimal_and_binary[] = {162, 163, 164, 165, 166, 194, 195, 196, 197, 199};

int signof(int64_t n) {
    return n < 0 ? -1 : n > 0 ? 1 : 0;
}

} // namespace

// Every numeric type in every code: the order of fields is the order of numbers.
TEST(model, numbers) {
    randomness r(20240229);
    for (uint8_t cdmode = 236; cdmode <= 239; ++cdmode) {
        sessionspec spec;
        spec.cdmode = cdmode;
        for (const uint8_t type : decimal_and_binary) {
            keyspec key;
            key.type = type;
            for (int i = 0; i < 400; ++i) {
                key.length = type == KVRN_FLOAT4 ? 4 : 8;
                const int64_t a = r.between(0, 2000) - 1000LL;
                const int64_t b = r.onein(4) ? a : r.between(0, 2000) - 1000LL;
                key.order = static_cast<uint8_t>(r.pick({KVRN_ASCENDING, KVRN_DESCENDING}));
                const keyvalue x = valueof(spec, key, fieldof(type, key.length, cdmode, a, r));
                const keyvalue y = valueof(spec, key, fieldof(type, key.length, cdmode, b, r));
                const int wanted = key.order == KVRN_DESCENDING ? signof(b - a) : signof(a - b);
                ASSERT_EQ(signof(compare(x, y)), wanted)
                    << +type << " code " << +cdmode << ": " << a << " and " << b;
            }
        }
    }
}

TEST(model, fields_of_lines) {
    sessionspec spec;
    spec.form = 'r';
    spec.fieldmode = KVRN_FIELDS;
    using list = std::vector<bytes>;
    EXPECT_EQ(fieldsof(spec, "  a b"), (list{"  a", "b"}));
    EXPECT_EQ(fieldsof(spec, "a "), (list{"a", ""}));
    EXPECT_EQ(fieldsof(spec, ""), (list{""}));
    EXPECT_EQ(fieldsof(spec, "\ta\t\tb"), (list{"\ta", "\tb"}));
    spec.separator = ",";
    EXPECT_EQ(fieldsof(spec, ",a,,b"), (list{"", "a", "", "b"}));
    spec.separator = "\\"; // 0x5C ends many double-byte characters
    EXPECT_EQ(fieldsof(spec, "\x83\\\\z"), (list{"\x83", "", "z"}));
    spec.keyoption2 = KVRN_KANJI_JIS;
    EXPECT_EQ(fieldsof(spec, "\x83\\\\z"),
              leadbyte('\x83') ? (list{"\x83\\", "z"}) : (list{"\x83", "", "z"}));
}

TEST(model, sums) {
    struct {
        uint8_t type, cdmode;
        bytes first, second, sum; // empty: overflow, or no number
    } const cases[] = {
        {162, 237, "005", "00U", bytes("00\x40", 3)},
        {162, 237, "00U", "005", bytes("00\x50", 3)},
        {162, 239, "1}", "0K", "1K"},
        {162, 236, "\xF9\xC9", "\xF0\xC1", ""},
        {197, 0, "\x12\x3C", "\x20\x0D", "\x07\x7D"},
        {197, 0, "\x99\x9C", bytes("\x00\x1C", 2), ""},
        {194, 0, "\x7F\xFF", bytes("\x00\x01", 2), ""},
        {194, 0, "\xFF\xFF", bytes("\x00\x01", 2), bytes("\x00\x00", 2)},
        {198, 0, bytes("\x00\xFF\xFF", 3), bytes("\x00\x00\x01", 3), bytes("\x01\x00\x00", 3)},
        {161, 0, "  12", "  -3", "0009"},
        {161, 0, " +12", "  +3", "+015"},
        {161, 0, "  12", " -12", "0000"},
        {161, 0, "- 13", "   2", "-011"},
        {161, 0, " 12 ", "   1", ""},
    };
    for (const auto &c : cases) {
        sessionspec spec;
        spec.form = c.type == KVRN_CHAR ? 'r' : 'f';
        spec.fieldmode = spec.form == 'r' ? KVRN_COLUMNS : 0;
        spec.cdmode = c.cdmode;
        spec.reclen = static_cast<uint32_t>(c.first.size() + spec.delimiter().size());
        spec.sums = {{0, static_cast<uint32_t>(c.first.size()), c.type}};
        bytes sum = c.first;
        EXPECT_EQ(fold(spec, sum, c.second) == 0, !c.sum.empty()) << visible(c.first);
        EXPECT_EQ(sum, c.sum.empty() ? c.first : c.sum) << visible(c.first);
    }
}

TEST(model, operands) {
    struct {
        uint8_t ltype, rtype;
        bytes left, right;
        int order;
        uint8_t cdmode = KVRN_CD_ZONE5;
    } const cases[] = {
        {161, 161, "abc", "abcde", 0},     {162, 162, "0U", "000U", 0},
        {194, 194, "\xFF", "\xFF\xFF", 0}, {198, 198, "\xFF", "\xFF\xFF", -1},
        {197, 162, "\x12\x3C", "123", 0},  {162, 162, "0P", "00", -1},
        {163, 164, "-12", "012-", 0},      {165, 166, "Q2", "01R", 0},
        {162, 162, "12{", "21{", -1, 239}, {162, 162, "12", "1K", 0, 239},
    };
    for (const auto &c : cases) {
        sessionspec spec;
        spec.cdmode = c.cdmode;
        spec.conditions.resize(1);
        condition &only = spec.conditions[0];
        only.ltype = c.ltype;
        only.rtype = c.rtype;
        only.llen = only.rpos = static_cast<uint32_t>(c.left.size());
        only.rlen = static_cast<uint32_t>(c.right.size());
        for (const auto &[op, order] :
             {std::pair{KVRN_OP_LT, -1}, {KVRN_OP_EQ, 0}, {KVRN_OP_GT, 1}}) {
            only.op = static_cast<uint8_t>(op);
            EXPECT_EQ(selected(spec, c.left + c.right).keep, order == c.order)
                << +c.ltype << visible(c.left) << +c.rtype << visible(c.right);
        }
    }
}

TEST(model, differences_are_found) {
    sessionspec spec;
    spec.reclen = 2;
    spec.keys = {{0, 1}};
    spec.inputs = {{"b1", "a2", "b0", "a1"}};
    const modelresult model = outcomeof(spec);
    EXPECT_EQ(difference(spec, model, {"a1", "a2", "b0", "b1"}), "");
    EXPECT_NE(difference(spec, model, {"a1", "b0", "a2", "b1"}), "");
    EXPECT_NE(difference(spec, model, {"a1", "a1", "b0", "b1"}), "");
    EXPECT_NE(difference(spec, model, {"a1", "a2", "b0"}), "");
    EXPECT_NE(difference(spec, model, {"a1", "a2", "b0", "b1", "b1"}), "");
    spec.keeporder = true;
    EXPECT_NE(difference(spec, model, {"a1", "a2", "b0", "b1"}), "");
    EXPECT_EQ(difference(spec, model, {"a2", "a1", "b1", "b0"}), "");
    spec.keeporder = false;
    spec.suppress = true;
    EXPECT_EQ(difference(spec, model, {"a1", "b0"}), "");
    EXPECT_NE(difference(spec, model, {"a3", "b0"}), "");
}

} // namespace kvern::test
