// The model against plain arithmetic and hand-made cases, so that it can be
// trusted where it differs from the engine.
#include "model/model.h"
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

} // namespace kvern::test
