#include "key/wiring.h"

#include "key/encoders.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

namespace kvern {
namespace {

struct onerow : enginecontext {
    keytab table{};

    onerow() : enginecontext(8) {}
    // The encoder of a type; null: it is refused.
    coder wired(char form, uint8_t type, uint8_t mode, uint8_t variant = 0, uint8_t kanji = 0) {
        recform = static_cast<uint8_t>(form);
        cdmode = mode;
        altmode = variant;
        table.count = 1;
        table.entry[0] = {};
        table.entry[0].type = type;
        table.entry[0].kanjiconv = kanji;
        keytable = &table;
        return wire(this) == 0 ? table.entry[0].encoder : nullptr;
    }
};

// What random sessions cannot tell: routines that serve alike or are reached by no
// valid key, and what is refused.
TEST(Wiring, ByFormVariantAndKanji) {
    const struct {
        char form;
        uint8_t type, mode, variant, kanji;
        coder encoder;
    } cases[] = {
        {'v', 161, 236, 1, 0, enc_e2a1}, {'f', 177, 238, 2, 0, enc_a2e2},
        {'r', 177, 236, 0, 0, enc_rev},  {'r', 177, 239, 0, 0, enc_textx},
        {'r', 161, 237, 0, 0, enc_text}, {'r', 161, 237, 0, 2, enc_kanji},
        {'r', 161, 237, 0, 6, enc_text}, {'f', 161, 237, 0, 2, enc_rev}, // the whole byte counts
        {'f', 162, 235, 0, 0, nullptr},  {'f', 165, 240, 0, 0, nullptr},
        {'f', 163, 0, 0, 0, nullptr},    {'f', 161, 236, 3, 0, nullptr},
        {'f', 177, 237, 255, 0, nullptr}};
    for (const auto &c : cases) {
        onerow ctx;
        EXPECT_EQ(ctx.wired(c.form, c.type, c.mode, c.variant, c.kanji), c.encoder)
            << c.form << int{c.type} << ' ' << int{c.mode};
        EXPECT_EQ(ctx.errdetail, c.encoder != nullptr ? 0u : uint32_t{KVRN_D_LOGIC});
    }
}

// Every type that a key may have, and the internal ones, is wired in every form and
// code, with a decoder unless the line is kept whole.  No other type.
TEST(Wiring, EveryTypeIsWiredOrRefused) {
    const bytes known = {161, 162, 163, 164, 165, 166, 167, 173, 175, 177, 193, 194,
                         195, 196, 197, 198, 199, 202, 203, 222, 223, 236, 237, 238};
    for (const char form : {'f', 'v', 'r'})
        for (int type = 0; type < 256; type++)
            for (uint8_t mode = 236; mode <= 239; mode++) {
                onerow ctx;
                const auto code = static_cast<uint8_t>(type);
                const bool wired = ctx.wired(form, code, mode) != nullptr;
                EXPECT_EQ(wired, std::find(known.begin(), known.end(), code) != known.end());
                const bool text = form == 'r' && (type == 161 || type == 203 ||
                                                  (type == 177 && mode != KVRN_CD_EBCDIC));
                EXPECT_EQ(ctx.table.entry[0].decoder == nullptr, text || !wired) << type;
            }
}

} // namespace
} // namespace kvern
