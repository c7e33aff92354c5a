#include "key/keytable.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <sstream>
#include <string>

namespace kvern {
namespace {

struct tableinput {
    std::vector<KVRNKEYE> keys; // in the caller's order; empty: the whole record
    std::vector<KVRNSUME> sums;
    uint8_t wholekanji = 0;
};

// Sets the session and reads its fields off a text: form and record length, then
// words.  "161:5+3" is a key's type, position and length, "k2" and "o32" behind it
// its kanjiconv and textoption, "sum197:2+3" a summation field.
tableinput parse(qha5ctx &ctx, const std::string &text) {
    tableinput input;
    std::istringstream in(text);
    char form = 0;
    in >> form >> ctx.inreclen;
    ctx.recform = static_cast<uint8_t>(form);
    ctx.outreclen = ctx.inreclen;
    for (std::string word; in >> word;) {
        unsigned type = 0, position = 0, length = 0, kanji = 0, option = 0;
        if (word == "keeporder")
            ctx.keeporder = 1;
        else if (word == "ebcdic")
            ctx.cdmode = KVRN_CD_EBCDIC;
        else if (word == "wide")
            input.wholekanji = KVRN_KANJI_JIS;
        else if (sscanf(word.c_str(), "sum%u:%u+%u", &type, &position, &length) == 3)
            input.sums.push_back({position, length, static_cast<uint8_t>(type), {}});
        else if (sscanf(word.c_str(), "%u:%u+%uk%u", &type, &position, &length, &kanji) >= 3) {
            sscanf(word.c_str(), "%*u:%*u+%*uo%u", &option);
            input.keys.push_back({position, length, static_cast<uint8_t>(type), KVRN_ASCENDING,
                                  static_cast<uint8_t>(option), static_cast<uint8_t>(kanji),
                                  nullptr});
        } else
            ADD_FAILURE() << "not understood: " << word;
    }
    return input;
}

const uint8_t mask[] = {0x5A};
const std::vector<uint8_t> onetable(256, 7);

// A table block with its entries, kept by the caller.
template <typename Table, typename Entry>
struct block {
    std::vector<uint64_t> memory;
    explicit block(const std::vector<Entry> &entries)
        : memory((sizeof(Table) + entries.size() * sizeof(Entry)) / 8 + 1) {
        table()->count = static_cast<uint32_t>(entries.size());
        for (size_t i = 0; i < entries.size(); i++)
            table()->entry[i] = entries[i];
    }
    Table *table() { return reinterpret_cast<Table *>(memory.data()); }
};

struct tablecontext : enginecontext {
    std::vector<uint64_t> sumarea;

    using enginecontext::enginecontext;

    int build(const tableinput &input) {
        keytablebuilder builder(this);
        if (builder.begin(static_cast<uint32_t>(input.keys.size()),
                          static_cast<uint32_t>(input.sums.size())) != 0)
            return -1;
        if (input.keys.empty())
            builder.addkey({0, outreclen, KVRN_CHAR, 0, KVRN_ASCENDING, input.wholekanji});
        for (size_t i = input.keys.size(); i-- != 0;) {
            const KVRNKEYE &k = input.keys[i];
            keyentry *row =
                builder.addkey({k.position, k.length, k.type, k.textoption, k.order, k.kanjiconv});
            row->table = k.type == KVRN_MASKBYTE ? mask : onetable.data();
            if (k.type == KVRN_MASKBYTE)
                row->len = 1;
        }
        if (input.sums.empty())
            return builder.finish(nullptr);
        block<KVRNSUM, KVRNSUME> sums(input.sums);
        sumarea.assign(sums.memory.size(), 0);
        sumspec = reinterpret_cast<sumtable *>(sumarea.data());
        return builder.finish(sums.table());
    }
    int build(const std::string &text) { return build(parse(*this, text)); }

    std::string rows() const {
        std::ostringstream text;
        for (uint32_t i = 0; i < keytable->count; i++) {
            const keyentry &row = keytable->entry[i];
            text << int{row.type} << ':' << row.src << '+' << row.len << '@' << row.dst << ' ';
        }
        return text.str();
    }
};

TEST(KeyTable, PlacesEveryPiece) {
    // The rows as type:source+length@place, then keylen, txtdataoff and intreclen.
    const struct {
        const char *what, *input, *rows;
    } cases[] = {
        {"gaps around a key", "f 20 161:5+5", "161:5+5@0 237:0+5@8 237:10+10@13 | 8 0 24"},
        {"the first key weighs most", "f 8 161:0+3 173:6+2",
         "173:6+2@0 161:0+3@2 237:3+3@8 | 8 0 12"},
        {"overlapping keys", "f 10 161:0+6 161:3+5", "161:3+5@0 161:0+6@5 237:8+2@12 | 12 0 16"},
        {"a key inside a key", "f 6 161:0+6 162:1+2", "162:1+2@0 161:0+6@3 | 12 0 12"},
        {"sign with the record's last byte", "f 10 162:4+6",
         "162:4+6@0 237:0+4@8 237:9+1@12 | 8 0 16"},
        {"signs in gaps between keys", "f 9 197:0+4 166:4+1 164:6+3",
         "164:6+3@0 166:4+1@4 197:0+4@6 237:3+1@12 237:4+2@13 237:8+1@15 | 12 0 16"},
        {"sign at the front", "f 8 163:0+5", "163:0+5@0 237:0+1@8 237:5+3@9 | 8 0 12"},
        {"leading sign under another key", "f 8 165:2+4 161:0+3",
         "161:0+3@0 165:2+4@3 237:6+2@8 | 8 0 12"},
        {"leading zoned digit alone", "f 2 165:0+1", "165:0+1@0 237:0+1@4 237:1+1@5 | 4 0 8"},
        {"caller's table", "f 8 202:2+3", "202:2+3@0 237:0+8@4 | 4 0 12"},
        {"mask", "f 8 193:7+90", "193:7+1@0 237:0+8@4 | 4 0 12"},
        {"twelve bytes each", "f 8 203:0+2 223:4+4", "223:4+4@0 203:0+2@48 237:0+8@72 | 72 0 80"},
        {"floats have a byte to spare", "f 8 195:0+4 161:4+4", "161:4+4@0 195:0+4@4 | 12 0 12"},
        {"CHAR of EBCDIC data", "f 8 ebcdic 161:0+4", "161:0+4@0 237:0+8@4 | 4 0 12"},
        {"CHARX of EBCDIC data", "f 8 ebcdic 177:0+4", "177:0+4@0 237:4+4@4 | 4 0 8"},
        {"CHARX of ASCII data", "f 8 177:0+4", "177:0+4@0 237:0+8@4 | 4 0 12"},
        {"kept beside the key", "f 4 198:0+4o32", "198:0+4@0 237:0+4@4 | 4 0 8"},
        {"wide by the bit, kept by any", "f 3 161:0+3k6 161:0+3k1",
         "161:0+3@0 161:0+3@3 237:0+3@12 | 12 0 16"},
        {"whole record", "f 6", "161:0+6@0 | 8 0 8"},
        {"whole record, wide, with a gap", "f 5 wide", "161:0+5@0 237:0+5@12 | 12 0 20"},
        {"input order kept", "f 4 keeporder 161:1+2",
         "238:0+0@0 161:1+2@4 237:0+1@8 237:3+1@9 | 8 0 12"},
        {"variable", "v 10 161:3+4", "161:7+4@0 237:0+7@4 237:11+3@11 | 4 4 16"},
        {"variable, whole record", "v 6", "161:4+6@0 237:0+4@8 | 8 8 12"},
        {"summation", "f 12 161:0+2 sum197:8+3 sum198:2+4",
         "161:0+2@0 237:8+3@4 237:2+4@7 237:6+2@11 237:11+1@13 | 4 0 16"},
        {"variable, summation", "v 8 161:0+2 sum197:2+3",
         "161:4+2@0 237:6+3@4 237:0+4@8 237:9+3@12 | 4 8 16"},
        {"text", "r 11 161:2+3 177:5+2", "177:5+2@0 161:2+3@2 | 8 8 20"},
        {"text, input order kept", "r 8 keeporder", "238:0+0@0 161:0+8@4 | 12 12 20"},
        {"text has no summation rows", "r 8 161:0+4 sum161:4+3", "161:0+4@0 | 4 4 12"},
    };
    for (const auto &c : cases) {
        tablecontext ctx;
        ASSERT_EQ(ctx.build(c.input), 0) << c.what;
        std::ostringstream found;
        found << ctx.rows() << "| " << ctx.keylen << ' ' << ctx.txtdataoff << ' ' << ctx.intreclen;
        EXPECT_EQ(found.str(), c.rows) << c.what;
    }
}

TEST(KeyTable, SummationTellsItsPlaces) {
    tablecontext ctx;
    ASSERT_EQ(ctx.build("f 12 161:0+2 sum197:8+3 sum198:2+4"), 0);
    EXPECT_EQ(ctx.keycount, 1u);
    EXPECT_EQ(ctx.sumspec->entry[0].position, 4u);
    EXPECT_EQ(ctx.sumspec->entry[1].position, 7u);
    EXPECT_EQ(ctx.sumspec->entry[1].length, 4u);
    EXPECT_EQ(ctx.sumspec->entry[1].type, KVRN_UBEBIN);

    tablecontext text;
    text.maketext(KVRN_FIELDS);
    ASSERT_EQ(text.build("r 80 161:0+2 sum161:7+5 sum161:3+4"), 0);
    EXPECT_EQ(text.summaxfld, 7u);
    EXPECT_EQ(text.sumspec->entry[0].position, 7u);
}

TEST(KeyTable, RebuiltLengthEndsTheGaps) {
    tablecontext ctx;
    const tableinput input = parse(ctx, "f 100 161:0+2");
    ctx.outreclen = 6;
    ctx.reconopt = 1;
    ASSERT_EQ(ctx.build(input), 0);
    EXPECT_EQ(ctx.rows(), "161:0+2@0 237:2+4@4 ");
}

TEST(KeyTable, Limits) {
    constexpr uint32_t plenty = 1 << 20;
    const struct {
        const char *what, *input;
        uint32_t detail; // 0: accepted, and nothing longer is
        uint32_t arena;
    } cases[] = {
        {"longest", "f 32716", 0, plenty},
        {"longest by a gap", "f 32716 161:0+4", 0, plenty},
        {"a word more", "f 32717", KVRN_D_SETUP, plenty},
        {"a word more by a gap", "f 32720 161:0+4", KVRN_D_SETUP, plenty},
        {"prefix counts", "v 32713", KVRN_D_SETUP, plenty},
        {"text is there twice", "r 16356", 0, plenty},
        {"text a byte longer", "r 16357", KVRN_D_SETUP, plenty},
        {"record of 4 GiB", "v 4294967295", KVRN_D_SETUP, plenty},
        {"keys that sum to 2^32", "r 8 161:0+2147483648 161:0+2147483648", KVRN_D_SETUP, plenty},
        {"wide key of 2^32", "r 8 161:0+2147483648k2", KVRN_D_SETUP, plenty},
        {"summation far outside", "f 8 161:0+2 sum198:4294967295+8", KVRN_D_SETUP, plenty},
        {"summation that would wrap", "v 8 161:0+2 sum198:4294967293+1", KVRN_D_SETUP, plenty},
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
    tablecontext ctx;
    EXPECT_EQ(keytablebuilder(&ctx).begin(UINT32_MAX, UINT32_MAX), -1);
    EXPECT_EQ(ctx.errdetail, uint32_t{KVRN_D_STORAGE});
}

// Whatever the keys cover and however they overlap, encoding all rows and then
// decoding them gives the record's bytes back.
TEST(KeyTable, EveryByteComesBack) {
    const uint8_t types[] = {161, 162, 163, 164, 165, 166, 167, 173, 175,
                             177, 193, 194, 195, 196, 197, 198, 199, 202};
    const uint8_t zones[] = {0x30, 0x50, 0x70, 0xC0, 0xD0, 0xF0, 0xB0, '{' & 0xF0};
    std::mt19937 random(20260728);
    const auto below = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    for (int round = 0; round < 20000; round++) {
        tablecontext ctx(4096);
        const uint32_t prefix = below(2) * 4;
        ctx.recform = prefix != 0 ? 'v' : 'f';
        ctx.cdmode = static_cast<uint8_t>(236 + below(4));
        ctx.altmode = static_cast<uint8_t>(below(3));
        ctx.keeporder = static_cast<uint8_t>(below(2));
        const uint32_t reclen = ctx.inreclen = ctx.outreclen = 2 + below(14);
        tableinput input;
        for (uint32_t n = 1 + below(5); n-- != 0;) {
            KVRNKEYE k{};
            k.type = types[below(sizeof types)];
            k.length = 2 + below(reclen - 1);
            k.position = below(reclen - k.length + 1);
            k.order = below(2) != 0 ? KVRN_ASCENDING : KVRN_DESCENDING;
            k.textoption = below(8) == 0 ? KVRN_TXT_KEEPSOURCE : 0;
            input.keys.push_back(k);
        }
        if (ctx.keeporder == 0 && below(2) != 0)
            input.sums.push_back({below(reclen), 1, KVRN_UBEBIN, {}});
        ASSERT_EQ(ctx.build(input), 0);

        std::vector<uint8_t> record(prefix + reclen);
        for (uint8_t &byte : record)
            byte = static_cast<uint8_t>(below(3) != 0 ? zones[below(sizeof zones)] | below(16)
                                                      : below(256));
        std::vector<uint8_t> slot(ctx.intreclen), back(record.size(), 0xA5);
        for (uint32_t i = 0; i < ctx.keytable->count; i++) {
            const keyentry &row = ctx.keytable->entry[i];
            ASSERT_GE(row.encoder(&ctx, slot.data() + row.dst, record.data() + row.src, row.len,
                                  row.order, row.extra()),
                      0);
        }
        for (uint32_t i = 0; i < ctx.keytable->count; i++) {
            const keyentry &row = ctx.keytable->entry[i];
            row.decoder(&ctx, back.data() + row.src, slot.data() + row.dst, row.len, row.order,
                        row.extra());
        }
        ASSERT_EQ(back, record) << "round " << round << ": " << ctx.rows();
    }
}

TEST(KeyTable, RefusesAPieceTooMany) {
    enginecontext ctx;
    keytablebuilder builder(&ctx);
    ASSERT_EQ(builder.begin(1, 0), 0);
    EXPECT_NE(builder.addkey({0, 1, KVRN_CHAR, 0, 16, 0}), nullptr);
    EXPECT_EQ(builder.addkey({0, 1, KVRN_CHAR, 0, 16, 0}), nullptr);
    EXPECT_EQ(ctx.errdetail, uint32_t{KVRN_D_LOGIC});
}

} // namespace
} // namespace kvern
