// Random expressions of the filter language over random records: what the engine keeps
// by the compiled table against a direct evaluation of the same expression.
#include "kvern/condition.h"

#include "handmade.h"
#include "kvern/report.h"
#include "support/fieldvalues.h"

#include <array>
#include <functional>

using namespace kvern::test;

namespace {

struct place {
    const char *name, *text;
    uint8_t type;
    uint32_t at, length;
};
constexpr place places[] = {
    {"region", "1,4", KVRN_CHAR, 0, 4},           {"city", "[5,4,ch]", KVRN_CHAR, 4, 4},
    {"z1", "9,3,zd", KVRN_ZONED, 8, 3},           {"z2", "12,3,zd", KVRN_ZONED, 11, 3},
    {"zl-1", "15,3,zl", KVRN_ZONEDLEAD, 14, 3},   {"zl_2", "[18,3,clo]", KVRN_ZONEDLEAD, 17, 3},
    {"p1", "21,2,pd", KVRN_PACKED, 20, 2},        {"p2", "23,3,pd", KVRN_PACKED, 22, 3},
    {"b1", "26,1,bi", KVRN_UBEBIN, 25, 1},        {"b2", "27,2,bi", KVRN_UBEBIN, 26, 2},
    {"f1", "29,2,fi", KVRN_SBEBIN, 28, 2},        {"f2", "31,1,fi", KVRN_SBEBIN, 30, 1},
    {"lead", "32,3,sl", KVRN_SIGNLEAD, 31, 3},    {"tail", "35,4,cst", KVRN_SIGNTRAIL, 34, 4},
    {"m", "39,1,bit=0x0F", KVRN_MASKBYTE, 38, 1},
};
constexpr size_t placecount = std::size(places);
constexpr uint32_t numberat = 40, reclen = 42; // of the record, big-endian
constexpr uint8_t codes[] = {KVRN_CD_EBCDIC, KVRN_CD_ZONE5, KVRN_CD_ZONE7, KVRN_CD_OVERPUNCH};

// Of each field what orders it: its text, or its number as one character.
using values = std::array<std::string, placecount>;
constexpr int zero = 'a';
std::string ranked(int number) {
    return std::string(1, static_cast<char>(zero + number));
}

// Near each other, so that they meet.
int numberfor(uint8_t type, randomness &r) {
    const auto least = type == KVRN_UBEBIN || type == KVRN_MASKBYTE ? 0 : -9;
    return least + static_cast<int>(r.below(static_cast<uint32_t>(10 - least)));
}

std::string encoded(const place &field, uint8_t cdmode, const std::string &value, randomness &r) {
    if (field.type == KVRN_CHAR) {
        std::string out = value; // A to C, blanks
        for (char &c : out)
            if (cdmode == KVRN_CD_EBCDIC)
                c = static_cast<char>(c == ' ' ? 0x40 : c - 'A' + 0xC1);
        return out;
    }
    std::string out = fieldof(field.type, field.length, cdmode, value[0] - zero, r);
    if (field.type == KVRN_MASKBYTE)
        out[0] = static_cast<char>(out[0] | 0x30); // outside of the mask
    return out;
}

struct phrase {
    std::string text;
    std::function<bool(const values &)> holds;
};
struct operand {
    std::string text;
    std::function<std::string(const values &)> value;
};

class speaker {
  public:
    speaker(randomness &random, uint8_t code) : r(random), cdmode(code) {}

    phrase expression(int depth) {
        const size_t choice = depth == 0 ? 0 : r.below(6);
        if (choice < 2)
            return test();
        if (choice == 2) {
            const phrase inner = expression(depth - 1);
            return {"not (" + inner.text + ")", [=](const values &v) { return !inner.holds(v); }};
        }
        const bool both = choice > 3;
        const phrase left = expression(depth - 1), right = expression(depth - 1);
        return {"(" + left.text + (both ? ")\nand (" : ") or (") + right.text + ")",
                [=](const values &v) {
                    return both ? left.holds(v) && right.holds(v) : left.holds(v) || right.holds(v);
                }};
    }

  private:
    randomness &r;
    uint8_t cdmode;

    operand literal(uint8_t type) {
        if (type != KVRN_CHAR) {
            const int number = numberfor(type, r);
            return {std::to_string(number), [=](const values &) { return ranked(number); }};
        }
        std::string word;
        for (uint32_t left = r.below(4); left > 0; --left)
            word += static_cast<char>(r.between('A', 'C'));
        const std::string quoted = r.onein(2) ? "'" + word + "'" : '"' + word + '"';
        word.resize(4, ' ');
        return {quoted, [=](const values &) { return word; }};
    }
    operand field(size_t which) {
        const std::string text = places[which].text;
        return {r.onein(2)       ? places[which].name
                : text[0] == '[' ? text
                                 : "[" + text + "]",
                [=](const values &v) { return v[which]; }};
    }
    // Fields that the engine compares with each other, of what the data allow.
    bool kin(uint8_t a, uint8_t b) const {
        const auto either = [&](uint8_t x, uint8_t y) {
            return (a == x && b == y) || (a == y && b == x);
        };
        return a == b || either(KVRN_ZONED, KVRN_ZONEDLEAD) ||
               either(KVRN_SIGNLEAD, KVRN_SIGNTRAIL) ||
               (either(KVRN_ZONED, KVRN_PACKED) && cdmode != KVRN_CD_OVERPUNCH);
    }

    phrase test() {
        const size_t left = r.below(placecount);
        const operand one = field(left);
        return r.onein(5)   ? listed(one, places[left].type)
               : r.onein(5) ? between(one, places[left].type)
                            : compared(one, places[left].type);
    }
    phrase listed(const operand &one, uint8_t type) {
        const bool inverse = r.onein(2);
        std::string text = one.text + (inverse ? " not in (" : " in (");
        std::vector<operand> all;
        for (size_t i = 0, count = r.below(3) + 1; i < count; ++i) {
            all.push_back(literal(type));
            text += (i == 0 ? "" : ", ") + all.back().text;
        }
        return {text + ")", [=](const values &v) {
                    bool any = false;
                    for (const operand &each : all)
                        any = any || each.value(v) == one.value(v);
                    return any != inverse;
                }};
    }
    phrase between(const operand &one, uint8_t type) {
        const operand low = literal(type), high = literal(type);
        return {one.text + " between " + low.text + " and " + high.text, [=](const values &v) {
                    return one.value(v) >= low.value(v) && one.value(v) <= high.value(v);
                }};
    }
    phrase compared(const operand &one, uint8_t type) {
        const size_t right = r.below(placecount);
        const operand other = kin(type, places[right].type) ? field(right) : literal(type);
        // The signs of the differences that each one admits.
        static constexpr struct {
            const char *text;
            bool below, equal, above;
        } ops[] = {{"==", false, true, false}, {"=", false, true, false}, {"!=", true, false, true},
                   {"<>", true, false, true},  {"<", true, false, false}, {"<=", true, true, false},
                   {">", false, false, true},  {">=", false, true, true}};
        const auto &op = r.pickof(ops);
        return {one.text + op.text + other.text, [=, &op](const values &v) {
                    const int d = one.value(v).compare(other.value(v));
                    return d < 0 ? op.below : d == 0 ? op.equal : op.above;
                }};
    }
};

// The records that a stable sort by their number keeps.
std::string kept(const command::conditiontable &table, uint8_t cdmode, const strings &records) {
    handmade s;
    s.prim.options = KVRN_SELECT;
    s.prim.cdmode = cdmode;
    s.prim.reclen = reclen;
    s.prim.memsize = KVRN_MEM_MIN * 4;
    s.key(numberat, 2, KVRN_UBEBIN);
    for (const KVRNSELE &entry : table.entries)
        s.conditions.add(entry);
    const std::string out = joined(s.sort(records));
    EXPECT_EQ(s.close(), 0);
    EXPECT_EQ(s.sess.detail, 0u);
    return out;
}

// The layout that names the fields; the two that its test looks at stand otherwise.
std::string layouttext() {
    std::string text = "# fields\n\n";
    for (const place &one : places)
        if (one.text[0] != '[')
            text += std::string(one.name) + " = " + one.text + "\n";
    return text + "city=5,4 \r\n  zl_2 = 18,3,clo";
}

void sayandcheck(const phrase &said, uint8_t cdmode, const command::layout &names, randomness &r) {
    SCOPED_TRACE(said.text + ", code " + std::to_string(cdmode));
    command::recordview view;
    view.cdmode = cdmode;
    command::conditiontable table;
    try {
        table = command::parsecondition({said.text, "test"}, view, names);
    } catch (const command::failure &what) {
        FAIL() << what.what;
    }
    strings given;
    std::string want;
    for (char number = 0; number < 24; ++number) {
        values v;
        std::string record;
        for (size_t f = 0; f < placecount; ++f) {
            v[f] = ranked(numberfor(places[f].type, r));
            if (places[f].type == KVRN_CHAR) {
                v[f] = std::string(r.below(3), static_cast<char>(r.between('A', 'C')));
                v[f].resize(4, ' ');
            }
            record += encoded(places[f], cdmode, v[f], r);
        }
        record.resize(reclen, '\0');
        record[numberat + 1] = number;
        given.push_back(record);
        if (said.holds(v))
            want += record;
    }
    EXPECT_EQ(kept(table, cdmode, given), want);
}

TEST(condition, random_expressions_keep_what_they_say) {
    const tempfolder folder;
    writefile(folder.file("lay"), layouttext());
    const command::layout names(folder.file("lay"));
#if defined(_WIN32)
    constexpr size_t expressions = 400; // a session takes its time under Wine
#else
    constexpr size_t expressions = 4000;
#endif
    randomness r(11);
    for (size_t i = 0; i < expressions && !HasFailure(); ++i) {
        const uint8_t cdmode = codes[i % std::size(codes)];
        sayandcheck(speaker(r, cdmode).expression(4), cdmode, names, r);
    }
}

} // namespace
