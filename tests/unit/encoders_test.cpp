// Encoders and decoders of key fields: the bytes of each normal form, and no byte
// touched beside the field or the slot.  Order and way back are for the sessions with
// all bytes and with random ones.
#include "key/enc_kanji.h"
#include "key/encoders.h"
#include "key/reversal.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

namespace kvern {
namespace {

constexpr uint8_t asc = 16, desc = 32;
enum : uint8_t { skip = 1, alnum = 2, printable = 4, fold = 8, numeric = 64 };

bytes complemented(bytes data) {
    for (uint8_t &byte : data)
        byte = static_cast<uint8_t>(~byte);
    return data;
}
// Keys of text are written from the top down, as they weigh.
bytes fromtop(std::string_view hex) {
    const bytes key = fromhex(hex);
    return {key.rbegin(), key.rend()};
}

// A slot holds what an earlier record left there, and has a neighbour.  The
// field is a heap copy of its own length.
struct slotspec {
    uint32_t length, width;
    uint8_t order = asc, stale = 0xEE, options = 0, altmode = 0;
};
bytes encode(coder encoder, const bytes &text, const slotspec &s) {
    enginecontext ctx(8);
    bytes scratch(2 * s.length + 4), key(s.width + 1, s.stale);
    const bytes field(text.begin(), text.end());
    ctx.keyscratch = scratch.data();
    ctx.curfieldlen = static_cast<uint32_t>(field.size());
    ctx.altmode = s.altmode;
    EXPECT_EQ(encoder(&ctx, key.data(), field.data(), s.length, s.order, {nullptr, s.options}),
              static_cast<int32_t>(s.width));
    EXPECT_EQ(key.back(), s.stale) << "behind the slot";
    key.pop_back();
    return key;
}
TEST(encoders, exact_bytes) {
    const struct {
        coder encoder;
        const char *field, *ascending, *descending;
    } cases[] = {
        {enc_rev, "41 42 43", "43 42 41", "BC BD BE"},
        {enc_same, "01 02 03", "01 02 03", "FE FD FC"},
        {enc_bebin, "00 01", "01 80", "FE 7F"},
        {enc_lebin, "01 00", "01 80", "FE 7F"},
        {enc_float, "00 00 80 3F", "00 00 80 BF", "FF FF 7F 40"},
        {enc_float, "00 00 80 BF", "FF FF 7F 40", "00 00 80 BF"},
        {enc_float, "00 00 00 80", "FF FF FF 7F", "00 00 00 80"},
        {enc_packed, "12 3C", "30 12 FF", "C0 ED 00"},
        {enc_packed, "12 3D", "C0 ED 00", "30 12 FF"},
        {enc_packed, "0C", "00 FF", "F0 00"},
        {enc_lead, "2D 31 32", "CD CE 00", "32 31 FF"},
        {enc_lead_e, "60 F1", "0E 00", "F1 FF"},
        {enc_trail, "31 32 2D", "CD CE 00", "32 31 FF"},
        {enc_trail_e, "F1 F2 60", "0D 0E 00", "F2 F1 FF"},
        {enc_ztrail_e, "F1 D2", "0D 0E 00", "F2 F1 FF"},
        {enc_ztrail_5, "31 55", "CA CE 00", "35 31 FF"},
        {enc_ztrail_7, "31 75", "CA CE 00", "35 31 FF"},
        {enc_ztrail_o, "31 32 7D", "CF CD CE 00", "30 32 31 FF"},
        {enc_zlead_o, "4A 32", "CD CE 00", "32 31 FF"},
    };
    for (const auto &one : cases)
        for (const uint8_t order : {asc, desc}) {
            const bytes field = fromhex(one.field);
            const char *want = order == asc ? one.ascending : one.descending;
            const auto length = static_cast<uint32_t>(field.size());
            const auto width = static_cast<uint32_t>(fromhex(want).size());
            EXPECT_EQ(tohex(encode(one.encoder, field, {length, width, order})), want) << one.field;
        }
}

TEST(encoders, copies_of_every_length) {
    for (uint32_t length = 0; length <= 70; ++length)
        for (const uint8_t flip : {flipnone, flipall}) {
            bytes from(length), straight(length), reversed(length);
            for (uint32_t i = 0; i < length; ++i)
                from[i] = static_cast<uint8_t>(i * 7 + 1);
            copyflipped(straight.data(), from.data(), length, flip);
            copyreversed(reversed.data(), from.data(), length, flip);
            const bytes want = flip == flipnone ? from : complemented(from);
            ASSERT_EQ(straight, want) << length;
            ASSERT_EQ(reversed, bytes(want.rbegin(), want.rend())) << length;
        }
}

TEST(encoders, table_mask_and_sequence) {
    enginecontext ctx(8);
    uint8_t swap[256];
    for (unsigned i = 0; i < 256; ++i)
        swap[i] = static_cast<uint8_t>(i ^ 0x20);
    bytes key(5, 0xEE);
    EXPECT_EQ(enc_table(&ctx, key.data(), fromtext("aB0").data(), 3, desc, {swap, 0}), 3);
    EXPECT_EQ(tohex(key), "EF 9D BE EE EE");
    const uint8_t mask = 0x0F, field = 0xA5;
    EXPECT_EQ(enc_mask(&ctx, key.data(), &field, 1, desc, {&mask, 0}), 1);
    EXPECT_EQ(tohex(key), "FA 9D BE EE EE");
    ctx.seqno = 0x04030201;
    EXPECT_EQ(enc_seq(&ctx, key.data(), nullptr, 0, asc, {}), 0);
    EXPECT_EQ(tohex(key), "01 02 03 04 EE");
    EXPECT_EQ(enc_none(&ctx, nullptr, nullptr, 1, asc, {}), -1);
}

TEST(textencoders, exact_bytes_in_any_slot) {
    const struct {
        coder encoder;
        const char *text;
        uint32_t room;
        int options;
        const char *key; // from the top down
    } cases[] = {
        {enc_text, "ab ", 5, 0, "61 62 20 00 00"},
        {enc_text, "-1", 0, numeric | fold, ""},
        {enc_text, "\t  ab", 5, skip, "61 62 00 00 00"},
        {enc_text, "a-B\x01 7\xB1", 7, alnum, "61 42 20 37 00 00 00"},
        {enc_text, "a-\x7F z", 6, alnum | printable | fold, "41 20 5A 00 00 00"},
        {enc_text, "aZ{\xE1", 4, fold, "41 5A 7B E1"},
        {enc_text, "  -x", 5, skip | alnum, "78 00 00 00 00"},
        {enc_text, "  -12x", 6, numeric, "00 CF CF CF CE CD"},
        {enc_text, "-1234", 5, numeric, "00 CE CD CC CB"},
        {enc_text, "-", 2, numeric, "30 30"},
        {enc_text, "+-7", 3, numeric, "00 CF C8"},
        {enc_textx, "aA0", 4, fold, "C1 C1 F0 00"},
    };
    for (const auto &one : cases)
        for (const uint8_t stale : {uint8_t{0}, uint8_t{0x41}, uint8_t{0xFF}}) {
            SCOPED_TRACE(std::string("\"") + one.text + "\" " + std::to_string(one.options));
            slotspec slot{one.room, one.room, asc, stale, static_cast<uint8_t>(one.options)};
            const bytes want = fromtop(one.key), text = fromtext(one.text);
            EXPECT_EQ(tohex(encode(one.encoder, text, slot)), tohex(want));
            slot.order = desc;
            EXPECT_EQ(tohex(encode(one.encoder, text, slot)), tohex(complemented(want)));
        }
    // A number in the other code ascends in either order: intended.
    for (const uint8_t order : {asc, desc})
        EXPECT_EQ(tohex(encode(enc_textx, fromtext("-12"), {4, 4, order, 0x55, numeric})),
                  tohex(fromtop("00 CF CE CD")));
}

TEST(textencoders, shift_jis_by_jis_code) {
    const struct {
        const char *text, *codes; // from the top down
    } cases[] = {
        {"80 A0 FD FF", "00 80 00 A0 00 FD 00 FF"},
        {"81 40", "01 01 00 00"},
        {"81 9F", "02 01 00 00"},
        {"E0 40", "3F 01 00 00"},
        {"F0 40", "5F 01 00 00"},
        {"FC FC", "78 5E 00 00"},
        {"41 81", "00 41 81 00"},
        {"81 40 41", "01 01 00 41 00 00"},
    };
    for (const auto &one : cases)
        for (const uint8_t order : {asc, desc}) {
            const bytes text = fromhex(one.text), want = fromtop(one.codes);
            bytes out(2 * text.size(), 0x77);
            const auto length = static_cast<uint32_t>(text.size());
            EXPECT_EQ(sjis_to_jis(out.data(), text.data(), length, order), 2 * length);
            EXPECT_EQ(tohex(out), tohex(order == asc ? want : complemented(want))) << one.text;
        }
}

TEST(textencoders, shift_jis_fields) {
    const struct {
        const char *text;
        uint32_t room;
        uint8_t options;
        const char *key; // from the top down
    } cases[] = {
        {"41", 0, 0, ""},
        {"61 81 61", 3, fold, "00 41 01 02 00 00"}, // the second byte is folded too
        {"20 09 41", 3, skip, "00 00 00 00 00 00"}, // 2 of 6 bytes, blanked from below
        {"41 2D 42", 3, alnum, "00 00 00 41 00 00"},
        {"41 42 43", 4, 0, "00 00 00 41 00 42 00 00"}, // a short field: its low end is lost
    };
    for (const auto &one : cases)
        for (const uint8_t stale : {uint8_t{0}, uint8_t{0x41}})
            EXPECT_EQ(tohex(encode(enc_kanji, fromhex(one.text),
                                   {one.room, 2 * one.room, asc, stale, one.options})),
                      tohex(fromtop(one.key)))
                << one.text;
}

} // namespace
} // namespace kvern
