// Encoders of text fields: options, numbers, the other code, Shift-JIS.

#include "key/enc_kanji.h"
#include "key/encoders.h"
#include "session/context.h"
#include "unit/hexbytes.h"

#include <gtest/gtest.h>

#include <memory>

using namespace kvern;

namespace {

constexpr uint8_t asc = 16, desc = 32;

// The slot is filled with what an earlier record may have left there.
bytes encode(coder encoder, const bytes &text, uint32_t room, uint8_t options, uint8_t order,
             uint8_t stale, uint32_t width, uint8_t altmode = 0) {
    auto ctx = std::make_unique<qha5ctx>();
    bytes scratch(2 * room + 4), key(width + 1, stale);
    ctx->keyscratch = scratch.data();
    ctx->curfieldlen = static_cast<uint32_t>(text.size());
    ctx->altmode = altmode;
    EXPECT_EQ(encoder(ctx.get(), key.data(), text.data(), room, order, {nullptr, options}),
              static_cast<int32_t>(width));
    EXPECT_EQ(key.back(), stale) << "behind the slot";
    key.pop_back();
    return key;
}

bytes complemented(bytes data) {
    for (uint8_t &byte : data)
        byte = static_cast<uint8_t>(~byte);
    return data;
}

enum : uint8_t { skip = 1, alnum = 2, printable = 4, fold = 8, numeric = 64 };

struct textcase {
    const char *text;
    uint32_t room;
    int options;
    const char *key; // from the top down, as it weighs
};

bytes fromtop(std::string_view hex) {
    bytes key = fromhex(hex);
    return {key.rbegin(), key.rend()};
}

const textcase textcases[] = {
    {"ab ", 5, 0, "61 62 20 00 00"},
    {"", 3, 0, "00 00 00"},
    {"abcdefghi", 9, 0, "61 62 63 64 65 66 67 68 69"},
    {"\t  ab", 5, skip, "61 62 00 00 00"},
    {"  \t", 3, skip, "00 00 00"},
    {"a-B\x01 7\xB1", 7, alnum, "61 42 20 37 00 00 00"},
    {"a-B\x01 7\xB1", 7, printable, "61 2D 42 20 37 B1 00"},
    {"a-\x7F z", 6, alnum | printable | fold, "41 20 5A 00 00 00"},
    {"aZ{\xE1", 4, fold, "41 5A 7B E1"},
    {"  -x", 5, skip | alnum, "78 00 00 00 00"},
    // Numbers
    {"  -12x", 6, numeric, "00 CF CF CF CE CD"},
    {"12", 5, numeric, "30 30 30 31 32"},
    {"+12 ", 4, numeric, "30 30 31 32"},
    {"12345", 5, numeric, "31 32 33 34 35"},
    {"-1234", 5, numeric, "00 CE CD CC CB"},
    {"1.50", 6, numeric, "30 30 31 2E 35 30"},
    {"abc", 4, numeric, "30 30 30 30"},
    {"-", 2, numeric, "30 30"},
    {"", 2, numeric, "30 30"},
    {"+-7", 3, numeric, "00 CF C8"},
};

TEST(textencoders, exact_bytes_in_any_slot) {
    for (const textcase &one : textcases)
        for (const int left : {0x00, 0x41, 0xFF}) {
            SCOPED_TRACE(std::string("\"") + one.text + "\" options " +
                         std::to_string(one.options));
            const auto options = static_cast<uint8_t>(one.options);
            const bytes want = fromtop(one.key);
            EXPECT_EQ(tohex(encode(enc_text, fromtext(one.text), one.room, options, asc,
                                   static_cast<uint8_t>(left), one.room)),
                      tohex(want));
            EXPECT_EQ(tohex(encode(enc_text, fromtext(one.text), one.room, options, desc,
                                   static_cast<uint8_t>(left), one.room)),
                      tohex(complemented(want)));
        }
}

TEST(textencoders, an_empty_room_is_left_alone) {
    EXPECT_TRUE(encode(enc_text, fromtext("-1"), 0, numeric | fold, desc, 0, 0).empty());
    EXPECT_TRUE(encode(enc_textx, fromtext("-1"), 0, numeric, desc, 0, 0).empty());
    EXPECT_TRUE(encode(enc_kanji, fromtext("-1"), 0, 0, desc, 0, 0).empty());
}

TEST(textencoders, numbers_order_by_value) {
    const char *ascending[] = {"-1000", "-999", "-12a", " -3", "x", "1", "  +2", "3z", "12", "999"};
    for (size_t i = 1; i < std::size(ascending); ++i) {
        bytes low = encode(enc_text, fromtext(ascending[i - 1]), 6, numeric, asc, 0, 6);
        bytes high = encode(enc_text, fromtext(ascending[i]), 6, numeric, asc, 0, 6);
        EXPECT_TRUE(
            std::lexicographical_compare(low.rbegin(), low.rend(), high.rbegin(), high.rend()))
            << ascending[i - 1] << " below " << ascending[i];
    }
}

TEST(textencoders, order_of_the_other_code) {
    const struct {
        const char *text;
        uint8_t options, order, altmode;
        const char *key;
    } cases[] = {
        {"aA0", 0, asc, 0, "81 C1 F0 00"},       {"aA0", fold, asc, 0, "C1 C1 F0 00"},
        {"aA0", 0, desc, 0, "7E 3E 0F FF"},      {"a$\\", 0, asc, 0, "81 5B E0 00"},
        {"a$\\", 0, asc, 1, "3F E0 5B 00"},      {"a$\\", 0, asc, 2, "81 E0 5B 00"},
        {"-12", numeric, asc, 0, "00 CF CE CD"}, {"-12", numeric, desc, 0, "00 CF CE CD"},
    };
    for (const auto &one : cases)
        EXPECT_EQ(tohex(encode(enc_textx, fromtext(one.text), 4, one.options, one.order, 0x55, 4,
                               one.altmode)),
                  tohex(fromtop(one.key)))
            << one.text;
}

TEST(textencoders, shift_jis_by_jis_code) {
    const struct {
        const char *text, *codes; // from the top down
    } cases[] = {
        {"41", "00 41"},
        {"B1", "00 B1"},
        {"80 A0 FD FF", "00 80 00 A0 00 FD 00 FF"},
        {"81 40", "01 01 00 00"},
        {"81 7E", "01 3F 00 00"},
        {"81 80", "01 40 00 00"},
        {"81 9E", "01 5E 00 00"},
        {"81 9F", "02 01 00 00"},
        {"81 FC", "02 5E 00 00"},
        {"88 9F", "10 01 00 00"},
        {"9F FC", "3E 5E 00 00"},
        {"E0 40", "3F 01 00 00"},
        {"EF FC", "5E 5E 00 00"},
        {"F0 40", "5F 01 00 00"},
        {"FC FC", "78 5E 00 00"},
        {"41 81", "00 41 81 00"},
        {"81 40 41", "01 01 00 41 00 00"},
    };
    for (const auto &one : cases) {
        const bytes text = fromhex(one.text);
        bytes out(2 * text.size(), 0x77);
        const auto length = static_cast<uint32_t>(text.size());
        EXPECT_EQ(sjis_to_jis(out.data(), text.data(), length, asc), 2 * length);
        EXPECT_EQ(tohex(out), tohex(fromtop(one.codes))) << one.text;
        sjis_to_jis(out.data(), text.data(), length, desc);
        EXPECT_EQ(tohex(out), tohex(complemented(fromtop(one.codes)))) << one.text;
    }
}

TEST(textencoders, shift_jis_fields) {
    const struct {
        const char *text;
        uint32_t room;
        uint8_t options;
        const char *key; // from the top down
    } cases[] = {
        {"41 42", 2, 0, "00 41 00 42"},
        {"81 40", 2, 0, "01 01 00 00"},
        {"61 81 61", 3, fold, "00 41 01 02 00 00"}, // the second byte is folded too
        {"20 09 41", 3, skip, "00 00 00 00 00 00"}, // 2 of 6 bytes, blanked from below
        {"41 2D 42", 3, alnum, "00 00 00 41 00 00"},
        {"41 42 43", 4, 0, "00 00 00 41 00 42 00 00"}, // a short field: its low end is lost
    };
    for (const auto &one : cases)
        for (const int left : {0x00, 0x41})
            EXPECT_EQ(tohex(encode(enc_kanji, fromhex(one.text), one.room, one.options, asc,
                                   static_cast<uint8_t>(left), 2 * one.room)),
                      tohex(fromtop(one.key)))
                << one.text;
}

} // namespace
