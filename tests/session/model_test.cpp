// The model against plain arithmetic and hand-made cases, so that it can be
// trusted where it differs from the engine.
#include "model/model.h"
#include "support/fieldvalues.h"
#include "support/generators.h"

#include <cstring>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

constexpr uint8_t decimal_and_binary[] = {162, 163, 164, 165, 166, 194, 195, 196, 197, 199};

int signof(int64_t n) {
    return n < 0 ? -1 : n > 0 ? 1 : 0;
}

std::vector<bytes> sorted(const sessionspec &spec) {
    std::vector<bytes> out;
    for (const modelrecord &record : sortbymodel(spec).sorted)
        out.push_back(record.data);
    return out;
}

sessionspec textsession(uint8_t fieldmode, std::vector<bytes> lines) {
    sessionspec spec;
    spec.form = 'r';
    spec.fieldmode = fieldmode;
    spec.linedlmt = KVRN_DLMT_LF;
    spec.reclen = 21;
    spec.inputs = {std::move(lines)};
    return spec;
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

TEST(model, minus_zero_is_just_below_zero) {
    const sessionspec spec;
    const struct {
        uint8_t type;
        bytes below, minus, plus;
    } cases[] = {
        {KVRN_ZONED, "0000\x51", "0000\x50", "00000"},
        {KVRN_PACKED, bytes("\0\x1D", 2), bytes("\0\x0D", 2), bytes("\0\x0C", 2)},
        {KVRN_SIGNLEAD, "-1", "-0", "+0"},
        {KVRN_FLOAT4, bytes("\0\0\x80\xBF", 4), bytes("\0\0\0\x80", 4), bytes(4, '\0')},
    };
    for (const auto &c : cases) {
        keyspec key;
        key.type = c.type;
        key.length = static_cast<uint32_t>(c.plus.size());
        EXPECT_LT(compare(valueof(spec, key, c.below), valueof(spec, key, c.minus)), 0) << +c.type;
        EXPECT_LT(compare(valueof(spec, key, c.minus), valueof(spec, key, c.plus)), 0) << +c.type;
    }
}

TEST(model, fields_of_lines) {
    sessionspec spec = textsession(KVRN_FIELDS, {});
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

TEST(model, text_options) {
    sessionspec spec = textsession(KVRN_COLUMNS, {"b", " A", "-1x", "10", "9", "?", "-20"});
    const struct {
        uint8_t option;
        std::vector<bytes> order;
    } cases[] = {
        {0, {" A", "-1x", "-20", "10", "9", "?", "b"}},
        {KVRN_TXT_SKIPBLANKS, {"-1x", "-20", "10", "9", "?", " A", "b"}},
        {KVRN_TXT_SKIPBLANKS | KVRN_TXT_FOLD, {"-1x", "-20", "10", "9", "?", " A", "b"}},
        {KVRN_TXT_ALNUM, {"?", " A", "10", "-1x", "-20", "9", "b"}},
        {KVRN_TXT_NUMERIC, {"-20", "-1x", "b", " A", "?", "9", "10"}},
    };
    for (const auto &c : cases) {
        spec.keys = {{0, 20, KVRN_CHAR, KVRN_ASCENDING, c.option, 0}};
        EXPECT_EQ(sorted(spec), c.order) << +c.option;
    }
}

TEST(model, rebuilt_lines_and_missing_fields) {
    sessionspec spec = textsession(KVRN_FIELDS, {"c,1", "a,3", "b,2"});
    spec.separator = ",";
    spec.pieces = {{false, 1, 5}, {true, 0, 1, "-"}, {false, 0, 5}};
    spec.keys = {{0, 5, KVRN_CHAR, KVRN_DESCENDING}};
    EXPECT_EQ(sorted(spec), (std::vector<bytes>{"3,-,a", "2,-,b", "1,-,c"}));
    spec.inputs[0].push_back("z");
    EXPECT_EQ(sortbymodel(spec).detail, KVRN_D_NORCNFIELD);
    spec.pieces.clear();
    spec.keys[0].position = 1;
    EXPECT_EQ(sortbymodel(spec).detail, KVRN_D_NOKEYFIELD);
}

TEST(model, differences_are_found) {
    sessionspec spec;
    spec.reclen = 2;
    spec.keys = {{0, 1}};
    spec.inputs = {{"b1", "a2", "b0", "a1"}};
    const modelresult model = sortbymodel(spec);
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

// The generator is worth what it reaches.
TEST(model, random_sessions_cover_the_forms) {
    size_t seen[3] = {}, rebuilt = 0, records = 0;
    for (uint64_t seed = 0; seed < 500; ++seed) {
        randomness r(seed);
        const sessionspec spec = randomsession(r, {.maxrecords = 300});
        ++seen[spec.form == 'f' ? 0 : spec.form == 'v' ? 1 : 2];
        rebuilt += spec.pieces.empty() ? 0U : 1U;
        records += sortbymodel(spec).sorted.size();
    }
    for (const size_t n : seen)
        EXPECT_GT(n, 50U);
    EXPECT_GT(rebuilt, 50U);
    EXPECT_GT(records, 20000U);
}

} // namespace kvern::test
