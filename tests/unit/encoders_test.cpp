// Encoders and decoders of fixed fields: exact bytes, order against plain
// values, and the way back.

#include "key/encoders.h"
#include "key/reversal.h"
#include "session/context.h"
#include "unit/hexbytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>

using namespace kvern;

namespace {

constexpr uint8_t asc = 16, desc = 32;
constexpr uint8_t untouched = 0xEE;

// The key area compares from the highest byte down.
bool keybelow(const bytes &a, const bytes &b) {
    return std::lexicographical_compare(a.rbegin(), a.rend(), b.rbegin(), b.rend());
}

// A field's encoder with its decoder, the bytes that it adds to the field, and
// the byte that the decoder leaves alone (-1: none, -2: the last).
struct family {
    const char *name;
    coder encoder, decoder;
    uint32_t added;
    int kept;
};

const family families[] = {
    {"enc_copy", enc_copy, enc_copy, 0, -1},
    {"enc_rev", enc_rev, dec_rev, 0, -1},
    {"enc_same", enc_same, dec_same, 0, -1},
    {"enc_bebin", enc_bebin, dec_bebin, 0, -1},
    {"enc_lebin", enc_lebin, dec_lebin, 0, -1},
    {"enc_float", enc_float, dec_float, 0, -1},
    {"enc_packed", enc_packed, dec_packed, 1, -2},
    {"enc_lead", enc_lead, dec_lead, 0, 0},
    {"enc_lead_e", enc_lead_e, dec_lead, 0, 0},
    {"enc_trail", enc_trail, dec_trail, 0, -2},
    {"enc_trail_e", enc_trail_e, dec_trail, 0, -2},
    {"enc_ztrail_e", enc_ztrail_e, dec_ztrail, 1, -2},
    {"enc_ztrail_5", enc_ztrail_5, dec_ztrail, 1, -2},
    {"enc_ztrail_7", enc_ztrail_7, dec_ztrail, 1, -2},
    {"enc_ztrail_o", enc_ztrail_o, dec_ztrail, 1, -2},
    {"enc_zlead_e", enc_zlead_e, dec_zlead, 1, 0},
    {"enc_zlead_5", enc_zlead_5, dec_zlead, 1, 0},
    {"enc_zlead_7", enc_zlead_7, dec_zlead, 1, 0},
    {"enc_zlead_o", enc_zlead_o, dec_zlead, 1, 0},
};

const family &familyof(const std::string &name) {
    for (const family &one : families)
        if (name == one.name)
            return one;
    throw std::runtime_error(name);
}

// Encodes a heap copy, so that a byte too many on either side is found.
bytes encode(const family &how, const bytes &field, uint8_t order) {
    auto ctx = std::make_unique<qha5ctx>();
    const bytes source(field.begin(), field.end());
    bytes key(field.size() + how.added, untouched);
    const auto length = static_cast<uint32_t>(field.size());
    EXPECT_EQ(how.encoder(ctx.get(), key.data(), source.data(), length, order, {}),
              static_cast<int32_t>(key.size()))
        << how.name;
    return key;
}

struct exactcase {
    const char *name, *field, *ascending, *descending;
};

const exactcase exactcases[] = {
    {"enc_copy", "01 02 03", "01 02 03", "01 02 03"},
    {"enc_rev", "41 42 43", "43 42 41", "BC BD BE"},
    {"enc_rev", "41", "41", "BE"},
    {"enc_same", "01 02 03", "01 02 03", "FE FD FC"},
    {"enc_bebin", "80 00", "00 00", "FF FF"},
    {"enc_bebin", "FF FF", "FF 7F", "00 80"},
    {"enc_bebin", "00 01", "01 80", "FE 7F"},
    {"enc_lebin", "00 80", "00 00", "FF FF"},
    {"enc_lebin", "01 00", "01 80", "FE 7F"},
    {"enc_float", "00 00 80 3F", "00 00 80 BF", "FF FF 7F 40"},
    {"enc_float", "00 00 80 BF", "FF FF 7F 40", "00 00 80 BF"},
    {"enc_float", "00 00 00 00", "00 00 00 80", "FF FF FF 7F"},
    {"enc_float", "00 00 00 80", "FF FF FF 7F", "00 00 00 80"},
    {"enc_packed", "12 3C", "30 12 FF", "C0 ED 00"},
    {"enc_packed", "12 3F", "30 12 FF", "C0 ED 00"},
    {"enc_packed", "12 3D", "C0 ED 00", "30 12 FF"},
    {"enc_packed", "12 3B", "C0 ED 00", "30 12 FF"},
    {"enc_packed", "0C", "00 FF", "F0 00"},
    {"enc_lead", "2B 31 32", "32 31 FF", "CD CE 00"},
    {"enc_lead", "2D 31 32", "CD CE 00", "32 31 FF"},
    {"enc_lead", "60 31", "31 FF", "CE 00"},
    {"enc_lead_e", "60 F1", "0E 00", "F1 FF"},
    {"enc_lead_e", "2D F1", "F1 FF", "0E 00"},
    {"enc_trail", "31 32 2D", "CD CE 00", "32 31 FF"},
    {"enc_trail", "31 32 20", "32 31 FF", "CD CE 00"},
    {"enc_trail_e", "F1 F2 60", "0D 0E 00", "F2 F1 FF"},
    {"enc_ztrail_e", "F1 C2", "F2 F1 FF", "0D 0E 00"},
    {"enc_ztrail_e", "F1 D2", "0D 0E 00", "F2 F1 FF"},
    {"enc_ztrail_e", "F1 B2", "0D 0E 00", "F2 F1 FF"},
    {"enc_ztrail_5", "31 35", "35 31 FF", "CA CE 00"},
    {"enc_ztrail_5", "31 55", "CA CE 00", "35 31 FF"},
    {"enc_ztrail_5", "31 75", "35 31 FF", "CA CE 00"},
    {"enc_ztrail_7", "31 75", "CA CE 00", "35 31 FF"},
    {"enc_ztrail_7", "31 55", "35 31 FF", "CA CE 00"},
    {"enc_ztrail_o", "31 32 7D", "CF CD CE 00", "30 32 31 FF"},
    {"enc_ztrail_o", "31 32 7B", "30 32 31 FF", "CF CD CE 00"},
    {"enc_ztrail_o", "4A", "CE 00", "31 FF"},
    {"enc_ztrail_o", "52", "C6 00", "39 FF"},
    {"enc_ztrail_o", "49", "39 FF", "C6 00"},
    {"enc_ztrail_o", "53", "33 FF", "CC 00"},
    {"enc_zlead_e", "D1 F2", "0D 0E 00", "F2 F1 FF"},
    {"enc_zlead_5", "51 32", "CD CE 00", "32 31 FF"},
    {"enc_zlead_7", "71 32", "CD CE 00", "32 31 FF"},
    {"enc_zlead_o", "4A 32", "CD CE 00", "32 31 FF"},
    {"enc_zlead_o", "41 32", "32 31 FF", "CD CE 00"},
};

TEST(encoders, exact_bytes) {
    for (const exactcase &one : exactcases) {
        SCOPED_TRACE(std::string(one.name) + " of " + one.field);
        const family &how = familyof(one.name);
        EXPECT_EQ(tohex(encode(how, fromhex(one.field), asc)), one.ascending);
        EXPECT_EQ(tohex(encode(how, fromhex(one.field), desc)), one.descending);
    }
}

TEST(encoders, table_mask_and_sequence) {
    auto ctx = std::make_unique<qha5ctx>();
    uint8_t swap[256];
    for (unsigned i = 0; i < 256; ++i)
        swap[i] = static_cast<uint8_t>(i ^ 0x20);
    bytes key(3, untouched);
    EXPECT_EQ(enc_table(ctx.get(), key.data(), fromtext("aB0").data(), 3, desc, {swap, 0}), 3);
    EXPECT_EQ(tohex(key), "EF 9D BE");

    const uint8_t mask = 0x0F, field = 0xA5;
    EXPECT_EQ(enc_mask(ctx.get(), key.data(), &field, 1, asc, {&mask, 0}), 1);
    EXPECT_EQ(key[0], 0x05);
    EXPECT_EQ(enc_mask(ctx.get(), key.data(), &field, 1, desc, {&mask, 0}), 1);
    EXPECT_EQ(key[0], 0xFA);

    bytes sequence(5, untouched);
    ctx->seqno = 0x04030201;
    EXPECT_EQ(enc_seq(ctx.get(), sequence.data(), nullptr, 0, asc, {}), 0);
    EXPECT_EQ(tohex(sequence), "01 02 03 04 EE");

    EXPECT_EQ(enc_none(ctx.get(), nullptr, nullptr, 1, asc, {}), -1);
    EXPECT_EQ(dec_none(ctx.get(), nullptr, nullptr, 1, asc, {}), 0);
}

TEST(encoders, translations_by_code) {
    auto ctx = std::make_unique<qha5ctx>();
    const struct {
        coder encoder;
        const char *field, *key;
    } cases[] = {
        {enc_e2a0, "C1 81 5B", "24 61 41"}, {enc_e2a1, "C1 81 5B", "5C B1 41"},
        {enc_e2a2, "C1 81 5B", "5C 61 41"}, {enc_a2e0, "41 61 24", "5B 81 C1"},
        {enc_a2e1, "41 61 24", "E0 3F C1"}, {enc_a2e2, "41 61 24", "E0 81 C1"},
    };
    for (const auto &one : cases) {
        bytes key(3);
        const bytes field = fromhex(one.field);
        one.encoder(ctx.get(), key.data(), field.data(), 3, asc, {});
        EXPECT_EQ(tohex(key), one.key);
        one.encoder(ctx.get(), key.data(), field.data(), 3, desc, {});
        for (uint8_t &byte : key)
            byte = static_cast<uint8_t>(~byte);
        EXPECT_EQ(tohex(key), one.key);
    }
}

// Fields of ascending values: each must encode above the one before, and below
// it when descending.
struct orderedcase {
    const char *name;
    std::vector<bytes> ascending;
};

bytes packed(int value) {
    char text[16];
    snprintf(text, sizeof text, "%05d", std::abs(value));
    std::string nibbles = std::string(text) + (value < 0 ? "D" : "C");
    return fromhex(nibbles);
}
bytes zoned(int value, uint8_t zone, uint8_t minuszone, bool lead) {
    char text[16];
    snprintf(text, sizeof text, "%04d", std::abs(value));
    bytes out = fromtext(text);
    for (uint8_t &byte : out)
        byte = static_cast<uint8_t>((byte & 15) | zone);
    uint8_t &sign = lead ? out.front() : out.back();
    if (value < 0)
        sign = static_cast<uint8_t>((sign & 15) | minuszone);
    return out;
}
bytes overpunched(int value, bool lead) {
    bytes out = zoned(value, 0x30, 0x30, lead);
    uint8_t &sign = lead ? out.front() : out.back();
    sign = static_cast<uint8_t>((value < 0 ? "}JKLMNOPQR" : "{ABCDEFGHI")[sign & 15]);
    return out;
}
bytes signedtext(int value, bool lead, bool ebcdic) {
    bytes digits = zoned(value, ebcdic ? 0xF0 : 0x30, ebcdic ? 0xF0 : 0x30, lead);
    const uint8_t minus = ebcdic ? 0x60 : 0x2D, plus = ebcdic ? 0x4E : 0x2B;
    digits.insert(lead ? digits.begin() : digits.end(), value < 0 ? minus : plus);
    return digits;
}
template <typename Number>
bytes memoryof(Number value, bool bigendian = false) {
    bytes out(sizeof value);
    memcpy(out.data(), &value, sizeof value);
    if (bigendian)
        std::reverse(out.begin(), out.end());
    return out;
}

TEST(encoders, order_of_values) {
    std::vector<orderedcase> cases;
    const int numbers[] = {-9999, -1000, -321, -123, -100, -12, -10, -9,  -1,  0,
                           1,     2,     9,    10,   11,   99,  100, 120, 9999};
    auto add = [&](const char *name, auto make) {
        cases.push_back({name, {}});
        for (int value : numbers)
            cases.back().ascending.push_back(make(value));
    };
    add("enc_packed", packed);
    add("enc_ztrail_e", [](int v) { return zoned(v, 0xF0, 0xD0, false); });
    add("enc_zlead_e", [](int v) { return zoned(v, 0xF0, 0xB0, true); });
    add("enc_ztrail_5", [](int v) { return zoned(v, 0x30, 0x50, false); });
    add("enc_zlead_5", [](int v) { return zoned(v, 0x30, 0x50, true); });
    add("enc_ztrail_7", [](int v) { return zoned(v, 0x30, 0x70, false); });
    add("enc_zlead_7", [](int v) { return zoned(v, 0x30, 0x70, true); });
    add("enc_ztrail_o", [](int v) { return overpunched(v, false); });
    add("enc_zlead_o", [](int v) { return overpunched(v, true); });
    add("enc_lead", [](int v) { return signedtext(v, true, false); });
    add("enc_lead_e", [](int v) { return signedtext(v, true, true); });
    add("enc_trail", [](int v) { return signedtext(v, false, false); });
    add("enc_trail_e", [](int v) { return signedtext(v, false, true); });
    add("enc_bebin", [](int v) { return memoryof(static_cast<int16_t>(v), true); });
    add("enc_lebin", [](int v) { return memoryof(v); });
    add("enc_float", [](int v) { return memoryof(v / 8.0); });
    add("enc_float", [](int v) { return memoryof(static_cast<float>(v) * 1e20f); });
    cases.push_back({"enc_float", {memoryof(-0.0), memoryof(0.0)}});
    cases.push_back({"enc_ztrail_5", {fromhex("30 50"), fromhex("30 30")}}); // -0, +0
    cases.push_back({"enc_rev", {fromhex("00 FF"), fromhex("01 00"), fromhex("80 00")}});
    cases.push_back({"enc_same", {fromhex("FF 00"), fromhex("00 01"), fromhex("00 80")}});
    for (const orderedcase &one : cases)
        for (size_t i = 1; i < one.ascending.size(); ++i) {
            const family &how = familyof(one.name);
            const bytes &low = one.ascending[i - 1], &high = one.ascending[i];
            EXPECT_TRUE(keybelow(encode(how, low, asc), encode(how, high, asc)))
                << one.name << ' ' << tohex(low) << " below " << tohex(high);
            EXPECT_TRUE(keybelow(encode(how, high, desc), encode(how, low, desc)))
                << one.name << ' ' << tohex(high) << " below " << tohex(low) << ", descending";
        }
}

// Whatever the bytes, all but the kept one come back, and that one is not
// written: a different piece of the record restores it.
TEST(encoders, way_back) {
    auto ctx = std::make_unique<qha5ctx>();
    std::mt19937 random(20240607);
    for (const family &how : families)
        for (size_t length = 2; length <= 40; ++length)
            for (uint8_t order : {asc, desc}) {
                bytes field(length);
                for (uint8_t &byte : field)
                    byte = static_cast<uint8_t>(random());
                const bytes key = encode(how, field, order);
                bytes back(length, untouched);
                how.decoder(ctx.get(), back.data(), key.data(), static_cast<uint32_t>(length),
                            order, {});
                if (how.kept != -1)
                    field[how.kept == -2 ? length - 1 : 0] = untouched;
                ASSERT_EQ(tohex(back), tohex(field)) << how.name << " order " << int(order);
            }
}

TEST(encoders, copies_of_every_length) {
    for (uint32_t length = 0; length <= 70; ++length) {
        bytes from(length);
        for (uint32_t i = 0; i < length; ++i)
            from[i] = static_cast<uint8_t>(i * 7 + 1);
        for (uint8_t flip : {flipnone, flipall}) {
            bytes straight(length), reversed(length);
            copyflipped(straight.data(), from.data(), length, flip);
            copyreversed(reversed.data(), from.data(), length, flip);
            for (uint32_t i = 0; i < length; ++i) {
                ASSERT_EQ(straight[i], static_cast<uint8_t>(from[i] ^ flip)) << length;
                ASSERT_EQ(reversed[length - 1 - i], static_cast<uint8_t>(from[i] ^ flip)) << length;
            }
        }
    }
}

} // namespace
