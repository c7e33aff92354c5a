// Encoders and decoders of key fields: the bytes of each normal form, the way back, and
// no byte touched beside the field or the slot.  Their order is for the sessions with
// all bytes and with random ones.
#include "key/enc_kanji.h"
#include "key/encoders.h"
#include "key/reversal.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <random>

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

// A family with its decoder, the bytes that it adds to the field, and the byte
// that the decoder leaves alone (-1: none, -2: the last).
struct family {
    const char *name;
    coder encoder, decoder;
    uint32_t added;
    int kept;
};

const family families[] = {
    {"copy", enc_copy, enc_copy, 0, -1},           {"rev", enc_rev, dec_rev, 0, -1},
    {"same", enc_same, dec_same, 0, -1},           {"bebin", enc_bebin, dec_bebin, 0, -1},
    {"lebin", enc_lebin, dec_lebin, 0, -1},        {"float", enc_float, dec_float, 0, -1},
    {"packed", enc_packed, dec_packed, 1, -2},     {"lead", enc_lead, dec_lead, 0, 0},
    {"lead_e", enc_lead_e, dec_lead, 0, 0},        {"trail", enc_trail, dec_trail, 0, -2},
    {"trail_e", enc_trail_e, dec_trail, 0, -2},    {"ztrail_e", enc_ztrail_e, dec_ztrail, 1, -2},
    {"ztrail_5", enc_ztrail_5, dec_ztrail, 1, -2}, {"ztrail_7", enc_ztrail_7, dec_ztrail, 1, -2},
    {"ztrail_o", enc_ztrail_o, dec_ztrail, 1, -2}, {"zlead_e", enc_zlead_e, dec_zlead, 1, 0},
    {"zlead_o", enc_zlead_o, dec_zlead, 1, 0},
};

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
bytes encode(const family &how, const bytes &field, uint8_t order) {
    const auto length = static_cast<uint32_t>(field.size());
    return encode(how.encoder, field,
                  {.length = length, .width = length + how.added, .order = order});
}

TEST(encoders, exact_bytes) {
    const struct {
        const char *family, *field, *ascending, *descending;
    } cases[] = {
        {"rev", "41 42 43", "43 42 41", "BC BD BE"},
        {"same", "01 02 03", "01 02 03", "FE FD FC"},
        {"bebin", "00 01", "01 80", "FE 7F"},
        {"lebin", "01 00", "01 80", "FE 7F"},
        {"float", "00 00 80 3F", "00 00 80 BF", "FF FF 7F 40"},
        {"float", "00 00 80 BF", "FF FF 7F 40", "00 00 80 BF"},
        {"float", "00 00 00 80", "FF FF FF 7F", "00 00 00 80"},
        {"packed", "12 3C", "30 12 FF", "C0 ED 00"},
        {"packed", "12 3D", "C0 ED 00", "30 12 FF"},
        {"packed", "0C", "00 FF", "F0 00"},
        {"lead", "2D 31 32", "CD CE 00", "32 31 FF"},
        {"lead_e", "60 F1", "0E 00", "F1 FF"},
        {"trail", "31 32 2D", "CD CE 00", "32 31 FF"},
        {"trail_e", "F1 F2 60", "0D 0E 00", "F2 F1 FF"},
        {"ztrail_e", "F1 D2", "0D 0E 00", "F2 F1 FF"},
        {"ztrail_5", "31 55", "CA CE 00", "35 31 FF"},
        {"ztrail_7", "31 75", "CA CE 00", "35 31 FF"},
        {"ztrail_o", "31 32 7D", "CF CD CE 00", "30 32 31 FF"},
        {"zlead_o", "4A 32", "CD CE 00", "32 31 FF"},
    };
    for (const auto &one : cases)
        for (const family &how : families) {
            if (std::string(how.name) != one.family)
                continue;
            EXPECT_EQ(tohex(encode(how, fromhex(one.field), asc)), one.ascending) << one.field;
            EXPECT_EQ(tohex(encode(how, fromhex(one.field), desc)), one.descending) << one.field;
        }
}

// Whatever the bytes, all but the kept one come back, and that one is not
// written: a different piece of the record restores it.
TEST(encoders, way_back) {
    enginecontext ctx(8);
    std::mt19937 random(20240607);
    for (const family &how : families)
        for (size_t length = 2; length <= 40; ++length)
            for (const uint8_t order : {asc, desc}) {
                bytes field(length), back(length, 0xEE);
                for (uint8_t &byte : field)
                    byte = static_cast<uint8_t>(random());
                how.decoder(&ctx, back.data(), encode(how, field, order).data(),
                            static_cast<uint32_t>(length), order, {});
                if (how.kept != -1)
                    field[how.kept == -2 ? length - 1 : 0] = 0xEE;
                ASSERT_EQ(tohex(back), tohex(field)) << how.name << " order " << int(order);
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
