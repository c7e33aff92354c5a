#include "key/wiring.h"

#include "key/encoders.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kvern {
namespace {

struct onerow : enginecontext {
    keytab table{};

    onerow() : enginecontext(8) {}

    int wireone(char form, uint8_t type, uint8_t mode, uint8_t variant = 0, uint8_t kanji = 0) {
        recform = static_cast<uint8_t>(form);
        cdmode = mode;
        altmode = variant;
        table.count = 1;
        table.entry[0] = {};
        table.entry[0].type = type;
        table.entry[0].kanjiconv = kanji;
        keytable = &table;
        return wire(this);
    }
};

// One line a family; the columns are the codes 236 to 239.
TEST(Wiring, ByCodeOfTheData) {
    const struct {
        char form;
        uint8_t type;
        coder encoder[4];
    } cases[] = {
        {'f', 161, {enc_e2a0, enc_rev, enc_rev, enc_rev}},
        {'v', 161, {enc_e2a0, enc_rev, enc_rev, enc_rev}},
        {'f', 177, {enc_rev, enc_a2e0, enc_a2e0, enc_a2e0}},
        {'r', 177, {enc_rev, enc_textx, enc_textx, enc_textx}},
        {'f', 162, {enc_ztrail_e, enc_ztrail_5, enc_ztrail_7, enc_ztrail_o}},
        {'f', 166, {enc_ztrail_e, enc_ztrail_5, enc_ztrail_7, enc_ztrail_o}},
        {'f', 165, {enc_zlead_e, enc_zlead_5, enc_zlead_7, enc_zlead_o}},
        {'f', 163, {enc_lead_e, enc_lead, enc_lead, enc_lead}},
        {'f', 164, {enc_trail_e, enc_trail, enc_trail, enc_trail}},
        {'f', 173, {enc_same, enc_same, enc_same, enc_same}},
    };
    onerow ctx;
    for (const auto &c : cases)
        for (uint8_t i = 0; i < 4; i++) {
            ASSERT_EQ(ctx.wireone(c.form, c.type, static_cast<uint8_t>(236 + i)), 0);
            EXPECT_EQ(ctx.table.entry[0].encoder, c.encoder[i]) << c.form << int{c.type} << int{i};
        }
}

TEST(Wiring, ByTableVariantAndKanji) {
    const coder toascii[] = {enc_e2a0, enc_e2a1, enc_e2a2};
    const coder toebcdic[] = {enc_a2e0, enc_a2e1, enc_a2e2};
    onerow ctx;
    const auto wired = [&](char form, uint8_t type, uint8_t mode, uint8_t variant, uint8_t kanji) {
        return ctx.wireone(form, type, mode, variant, kanji) == 0 ? ctx.table.entry[0].encoder
                                                                  : nullptr;
    };
    for (uint8_t i = 0; i < 3; i++) {
        EXPECT_EQ(wired('f', 161, 236, i, 0), toascii[i]);
        EXPECT_EQ(wired('f', 177, 238, i, 0), toebcdic[i]);
    }
    EXPECT_EQ(wired('r', 161, 237, 0, 0), coder{enc_text});
    EXPECT_EQ(wired('r', 161, 237, 0, 2), coder{enc_kanji});
    EXPECT_EQ(wired('r', 161, 237, 0, 6), coder{enc_text}); // the whole byte counts
    EXPECT_EQ(wired('f', 161, 237, 0, 2), coder{enc_rev});
}

// Every type that a key may have, and the internal ones, in every form and code:
// an encoder always, a decoder unless the line is kept whole.  No other type.
TEST(Wiring, EveryTypeIsWiredOrRefused) {
    const std::vector<int> known = {161, 162, 163, 164, 165, 166, 167, 173, 175, 177, 193, 194,
                                    195, 196, 197, 198, 199, 202, 203, 222, 223, 236, 237, 238};
    for (const char form : {'f', 'v', 'r'})
        for (int type = 0; type < 256; type++)
            for (uint8_t mode = 236; mode <= 239; mode++) {
                onerow ctx;
                const int result = ctx.wireone(form, static_cast<uint8_t>(type), mode);
                if (std::find(known.begin(), known.end(), type) == known.end()) {
                    EXPECT_EQ(result, -1) << type;
                    EXPECT_EQ(ctx.errdetail, uint32_t{KVRN_D_LOGIC});
                    continue;
                }
                ASSERT_EQ(result, 0) << type;
                const keyentry &row = ctx.table.entry[0];
                const bool text = form == 'r' && (type == 161 || type == 203 ||
                                                  (type == 177 && mode != KVRN_CD_EBCDIC));
                EXPECT_NE(row.encoder, nullptr);
                EXPECT_EQ(row.decoder == nullptr, text) << type;
            }
}

TEST(Wiring, CodesOutsideTheirRange) {
    const struct {
        uint8_t type, mode, variant;
    } cases[] = {{162, 235, 0}, {165, 240, 0}, {163, 0, 0}, {161, 236, 3}, {177, 237, 255}};
    for (const auto &c : cases) {
        onerow ctx;
        EXPECT_EQ(ctx.wireone('f', c.type, c.mode, c.variant), -1) << int{c.type};
        EXPECT_EQ(ctx.lastmsg, 43u);
        EXPECT_EQ(ctx.errdetail, uint32_t{KVRN_D_LOGIC});
    }
}

} // namespace
} // namespace kvern
