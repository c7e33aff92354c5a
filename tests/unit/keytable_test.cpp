#include "key/keytable.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

namespace kvern {
namespace {

struct tablecontext : enginecontext {
    using enginecontext::enginecontext;

    // Sets the session and builds the table off a text: form and record length, then
    // words.  "161:5+3" is a key's type, position and length, "k2" and "o32" behind it
    // its kanjiconv and textoption, "sum197:2+3" a summation field.
    int build(const std::string &text) {
        std::vector<keypiece> keys; // in the caller's order; none: the whole record
        std::istringstream in(text);
        auto *sums = reinterpret_cast<KVRNSUM *>(given);
        keypiece whole{0, 0, KVRN_CHAR, 0, KVRN_ASCENDING, 0};
        std::string form;
        in >> form >> inreclen;
        recform = static_cast<uint8_t>(form[0]);
        outreclen = whole.length = inreclen;
        for (std::string word; in >> word;) {
            unsigned type = 0, position = 0, length = 0, kanji = 0, option = 0;
            if (word == "keeporder")
                keeporder = 1;
            else if (word == "ebcdic")
                cdmode = KVRN_CD_EBCDIC;
            else if (word == "wide")
                whole.kanjiconv = KVRN_KANJI_JIS;
            else if (sscanf(word.c_str(), "sum%u:%u+%u", &type, &position, &length) == 3)
                sums->entry[sums->count++] = {position, length, static_cast<uint8_t>(type), {}};
            else {
                sscanf(word.c_str(), "%u:%u+%uk%u", &type, &position, &length, &kanji);
                sscanf(word.c_str(), "%*u:%*u+%*uo%u", &option);
                keys.push_back({position, length, static_cast<uint8_t>(type),
                                static_cast<uint8_t>(option), KVRN_ASCENDING,
                                static_cast<uint8_t>(kanji)});
            }
        }
        keytablebuilder builder(this);
        if (builder.begin(static_cast<uint32_t>(keys.size()), sums->count) != 0)
            return -1;
        if (keys.empty())
            builder.addkey(whole);
        for (size_t i = keys.size(); i-- != 0;) {
            keyentry *row = builder.addkey(keys[i]);
            row->table = codes;
            if (keys[i].type == KVRN_MASKBYTE)
                row->len = 1;
        }
        sumspec = reinterpret_cast<sumtable *>(kept);
        return builder.finish(sums->count == 0 ? nullptr : sums);
    }
    // The rows as type:source+length@place, then keylen, txtdataoff and intreclen.
    std::string built() const {
        std::ostringstream text;
        for (uint32_t i = 0; i < keytable->count; i++) {
            const keyentry &row = keytable->entry[i];
            text << int{row.type} << ':' << row.src << '+' << row.len << '@' << row.dst << ' ';
        }
        text << "| " << keylen << ' ' << txtdataoff << ' ' << intreclen;
        return text.str();
    }

  private:
    uint64_t given[8] = {}, kept[8] = {}; // summation fields, as they came and as they stay
    uint8_t codes[256] = {};
};

TEST(KeyTable, PlacesEveryPiece) {
    const struct {
        const char *what, *input, *rows;
    } cases[] = {
        {"gaps around a key", "f 20 161:5+5", "161:5+5@0 237:0+5@8 237:10+10@13 | 8 0 24"},
        {"the first key weighs most", "f 8 161:0+3 173:6+2",
         "173:6+2@0 161:0+3@2 237:3+3@8 | 8 0 12"},
        {"sign with the record's last byte", "f 10 162:4+6",
         "162:4+6@0 237:0+4@8 237:9+1@12 | 8 0 16"},
        {"signs in gaps between keys", "f 9 197:0+4 166:4+1 164:6+3",
         "164:6+3@0 166:4+1@4 197:0+4@6 237:3+1@12 237:4+2@13 237:8+1@15 | 12 0 16"},
        {"leading sign under another key", "f 8 165:2+4 161:0+3",
         "161:0+3@0 165:2+4@3 237:6+2@8 | 8 0 12"},
        {"caller's table", "f 8 202:2+3", "202:2+3@0 237:0+8@4 | 4 0 12"},
        {"twelve bytes each", "f 8 203:0+2 223:4+4", "223:4+4@0 203:0+2@48 237:0+8@72 | 72 0 80"},
        {"floats have a byte to spare", "f 8 195:0+4 161:4+4", "161:4+4@0 195:0+4@4 | 12 0 12"},
        {"CHAR of EBCDIC data", "f 8 ebcdic 161:0+4", "161:0+4@0 237:0+8@4 | 4 0 12"},
        {"kept beside the key", "f 4 198:0+4o32", "198:0+4@0 237:0+4@4 | 4 0 8"},
        {"wide by the bit, kept by any", "f 3 161:0+3k6 161:0+3k1",
         "161:0+3@0 161:0+3@3 237:0+3@12 | 12 0 16"},
        {"whole record, wide, with a gap", "f 5 wide", "161:0+5@0 237:0+5@12 | 12 0 20"},
        {"input order kept", "f 4 keeporder 161:1+2",
         "238:0+0@0 161:1+2@4 237:0+1@8 237:3+1@9 | 8 0 12"},
        {"summation", "f 12 161:0+2 sum197:8+3 sum198:2+4",
         "161:0+2@0 237:8+3@4 237:2+4@7 237:6+2@11 237:11+1@13 | 4 0 16"},
        {"variable, summation", "v 8 161:0+2 sum197:2+3",
         "161:4+2@0 237:6+3@4 237:0+4@8 237:9+3@12 | 4 8 16"},
        {"text, input order kept", "r 8 keeporder", "238:0+0@0 161:0+8@4 | 12 12 20"},
        {"text has no summation rows", "r 8 161:0+4 sum161:4+3", "161:0+4@0 | 4 4 12"},
    };
    for (const auto &c : cases) {
        tablecontext ctx;
        ASSERT_EQ(ctx.build(c.input), 0) << c.what;
        EXPECT_EQ(ctx.built(), c.rows) << c.what;
    }
}

TEST(KeyTable, SummationTellsItsPlaces) {
    tablecontext ctx, text;
    ASSERT_EQ(ctx.build("f 12 161:0+2 sum197:8+3 sum198:2+4"), 0);
    EXPECT_EQ(ctx.sumspec->entry[0].position, 4u);
    EXPECT_EQ(ctx.sumspec->entry[1].position, 7u);
    EXPECT_EQ(ctx.sumspec->entry[1].length, 4u);
    text.maketext(KVRN_FIELDS);
    ASSERT_EQ(text.build("r 80 161:0+2 sum161:7+5 sum161:3+4"), 0);
    EXPECT_EQ(text.summaxfld, 7u);
    EXPECT_EQ(text.sumspec->entry[0].position, 7u);
}

TEST(KeyTable, Limits) {
    constexpr uint32_t plenty = 1 << 20;
    const struct {
        const char *what, *input;
        uint32_t detail = KVRN_D_SETUP; // 0: accepted, and nothing longer is
        uint32_t arena = plenty;
    } cases[] = {
        {"longest", "f 32716", 0},
        {"a word more", "f 32717"},
        {"a word more by a gap", "f 32720 161:0+4"},
        {"text a byte longer", "r 16357"},
        {"record of 4 GiB", "v 4294967295"},
        {"keys that sum to 2^32", "r 8 161:0+2147483648 161:0+2147483648"},
        {"wide key of 2^32", "r 8 161:0+2147483648k2"},
        {"summation far outside", "f 8 161:0+2 sum198:4294967295+8"},
        {"summation that would wrap", "v 8 161:0+2 sum198:4294967293+1"},
        {"no room for the table", "f 8", KVRN_D_STORAGE, 3 * sizeof(keyentry)},
        {"no room for the sweep", "f 8", KVRN_D_STORAGE, 3 * sizeof(keyentry) + sizeof(void *)},
    };
    for (const auto &c : cases) {
        tablecontext ctx(c.arena);
        EXPECT_EQ(ctx.build(c.input), c.detail == 0 ? 0 : -1) << c.what;
        EXPECT_EQ(ctx.errdetail, c.detail) << c.what;
        EXPECT_EQ(ctx.lastmsg, c.detail == 0 ? 0u : 23u) << c.what;
        EXPECT_EQ(ctx.intreclen > 32708 && ctx.intreclen <= 32716, c.detail == 0) << c.what;
    }
    enginecontext ctx;
    EXPECT_EQ(keytablebuilder(&ctx).begin(UINT32_MAX, UINT32_MAX), -1);
    EXPECT_EQ(ctx.errdetail, uint32_t{KVRN_D_STORAGE});
}

} // namespace
} // namespace kvern
