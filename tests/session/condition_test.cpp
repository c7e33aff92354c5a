// Random expressions of the filter language over random records: what the engine keeps
// by the compiled table against a direct evaluation of the same expression.

#include "kvern/condition.h"
#include "kvern/report.h"
#include "support/randomness.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

using namespace kvern::test;
using namespace std::string_literals;

namespace {

enum kind { ch, zd, zl, pd, bi, fi, sl, st, bit, kinds };
struct place {
    const char *name, *text;
    kind of;
    uint32_t at, length;
};
constexpr place places[] = {
    {"region", "1,4", ch, 0, 4},        {"city", "[5,4,ch]", ch, 4, 4},
    {"z1", "9,3,zd", zd, 8, 3},         {"z2", "12,3,zd", zd, 11, 3},
    {"zl-1", "15,3,zl", zl, 14, 3},     {"zl_2", "[18,3,clo]", zl, 17, 3},
    {"p1", "21,2,pd", pd, 20, 2},       {"p2", "23,3,pd", pd, 22, 3},
    {"b1", "26,1,bi", bi, 25, 1},       {"b2", "27,2,bi", bi, 26, 2},
    {"f1", "29,2,fi", fi, 28, 2},       {"f2", "31,1,fi", fi, 30, 1},
    {"lead", "32,3,sl", sl, 31, 3},     {"tail", "35,4,cst", st, 34, 4},
    {"m", "39,1,bit=0x0F", bit, 38, 1},
};
constexpr size_t placecount = std::size(places);
constexpr uint32_t numberat = 40, reclen = 42; // of the record, big-endian

struct code {
    uint8_t cdmode;
    uint8_t digit, plus, minus, plussign, minussign;
};
constexpr code codes[] = {{KVRN_CD_EBCDIC, 0xF0, 0xC0, 0xD0, 0x4E, 0x60},
                          {KVRN_CD_ZONE5, 0x30, 0x40, 0x50, '+', '-'},
                          {KVRN_CD_ZONE7, 0x30, 0x30, 0x70, '+', '-'},
                          {KVRN_CD_OVERPUNCH, 0x30, 0, 0, '+', '-'}};

struct values {
    std::string texts[placecount];
    int numbers[placecount];
};

// The least and greatest value of a field; near each other, so that they meet.
int leastof(kind of) {
    return of == bi || of == bit ? 0 : -9;
}

std::string encoded(const place &field, const code &in, const std::string &text, int number) {
    std::string out(field.length, '\0');
    const int value = number < 0 ? -number : number;
    const auto byte = [&](uint32_t i, int b) { out[i] = static_cast<char>(b); };
    const auto zones = [&](uint32_t from, uint32_t to) {
        for (uint32_t i = from; i < to; ++i)
            byte(i, in.digit | (i + 1 == to ? value : 0));
    };
    const auto signedzone = [&](uint32_t i, int digit) {
        byte(i, in.cdmode == KVRN_CD_OVERPUNCH ? (number < 0 ? "}JKLMNOPQR" : "{ABCDEFGHI")[digit]
                                               : (number < 0 ? in.minus : in.plus) | digit);
    };
    switch (field.of) {
    case ch:
        for (uint32_t i = 0; i < field.length; ++i) { // A to C, blanks
            const char c = i < text.size() ? text[i] : ' ';
            byte(i, in.cdmode != KVRN_CD_EBCDIC ? c : c == ' ' ? 0x40 : c - 'A' + 0xC1);
        }
        break;
    case zd:
        zones(0, field.length);
        signedzone(field.length - 1, value);
        break;
    case zl:
        zones(0, field.length);
        signedzone(0, 0);
        break;
    case pd:
        byte(field.length - 1, value << 4 | (number < 0 ? 0xD : 0xC));
        break;
    case sl:
        zones(1, field.length);
        byte(0, number < 0 ? in.minussign : in.plussign);
        break;
    case st:
        zones(0, field.length - 1);
        byte(field.length - 1, number < 0 ? in.minussign : in.plussign);
        break;
    default:
        for (uint32_t i = 0; i < field.length; ++i)
            byte(i, number >> 8 * (field.length - 1 - i) & 0xFF);
        if (field.of == bit)
            out[0] = static_cast<char>(out[0] | 0x30); // outside of the mask
    }
    return out;
}

using judge = std::function<bool(const values &)>;
struct phrase {
    std::string text;
    judge holds;
};

class speaker {
  public:
    speaker(randomness &random, const code &data) : r(random), in(data) {}

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
    const code &in;

    std::string nameof(size_t field) {
        const std::string text = places[field].text;
        return r.onein(2) ? places[field].name : text[0] == '[' ? text : "[" + text + "]";
    }
    struct operand {
        std::string text;
        std::function<int(const values &)> number;
        std::function<std::string(const values &)> bytes;
    };
    operand literal(kind of) {
        if (of == ch) {
            std::string word(r.below(4), 'A');
            for (char &c : word)
                c = static_cast<char>(r.between('A', 'C'));
            std::string padded = word;
            padded.resize(4, ' ');
            return {r.onein(2) ? "'" + word + "'" : '"' + word + '"', nullptr,
                    [=](const values &) { return padded; }};
        }
        const int value = static_cast<int>(r.below(of == bi || of == bit ? 10 : 19)) + leastof(of);
        return {std::to_string(value), [=](const values &) { return value; }, nullptr};
    }
    operand field(size_t which) {
        return {nameof(which), [=](const values &v) { return v.numbers[which]; },
                [=](const values &v) { return v.texts[which]; }};
    }
    // Fields that the engine compares with each other, of what the data allow.
    bool kin(kind a, kind b) const {
        if (a == b)
            return true;
        const auto either = [&](kind x, kind y) {
            return (a == x && b == y) || (a == y && b == x);
        };
        return either(zd, zl) || either(sl, st) ||
               (either(zd, pd) && in.cdmode != KVRN_CD_OVERPUNCH);
    }
    phrase test() {
        const size_t left = r.below(placecount);
        const kind of = places[left].of;
        const operand one = field(left);
        const auto compared = [=](const operand &other) {
            return [=](const values &v) {
                return of == ch ? one.bytes(v).compare(other.bytes(v))
                                : one.number(v) - other.number(v);
            };
        };
        if (r.onein(5)) {
            const bool inverse = r.onein(2);
            std::string text = one.text + (inverse ? " not in (" : " in (");
            std::vector<std::function<int(const values &)>> all;
            for (size_t i = 0, count = r.below(3) + 1; i < count; ++i) {
                const operand next = literal(of);
                text += (i == 0 ? "" : ", ") + next.text;
                all.push_back(compared(next));
            }
            return {text + ")", [=](const values &v) {
                        bool any = false;
                        for (const auto &each : all)
                            any = any || each(v) == 0;
                        return any != inverse;
                    }};
        }
        if (r.onein(5)) {
            const operand low = literal(of), high = literal(of);
            const auto above = compared(low), below = compared(high);
            return {one.text + " between " + low.text + " and " + high.text,
                    [=](const values &v) { return above(v) >= 0 && below(v) <= 0; }};
        }
        operand other = literal(of);
        const size_t right = r.below(placecount);
        if (kin(of, places[right].of))
            other = field(right);
        static constexpr const char *ops[] = {"==", "=", "!=", "<>", "<", "<=", ">", ">="};
        const size_t op = r.below(std::size(ops));
        const auto difference = compared(other);
        return {one.text + ops[op] + other.text, [=](const values &v) {
                    const int d = difference(v);
                    const bool outcomes[] = {d == 0, d == 0, d != 0, d != 0, d<0, d <= 0, d> 0,
                                             d >= 0};
                    return outcomes[op];
                }};
    }
};

// The records that a stable sort by their number keeps.
std::string kept(const command::conditiontable &table, const code &in, std::string records) {
    struct {
        uint32_t count;
        KVRNKEYE entry[1];
    } keys = {1, {{numberat, 2, KVRN_UBEBIN, KVRN_ASCENDING, 0, 0, nullptr}}};
    std::vector<KVRNSELE> block(table.entries.size() + 1);
    const auto count = static_cast<uint32_t>(table.entries.size());
    auto *sel = reinterpret_cast<KVRNSEL *>(block.data());
    sel->count = count;
    std::memcpy(&sel->entry[0], table.entries.data(), count * sizeof(KVRNSELE));
    KVRNPRIM prim{};
    prim.function = KVRN_SORT;
    prim.recform = KVRN_FIXED;
    prim.options = KVRN_SELECT;
    prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_BLOCK;
    prim.cdmode = in.cdmode;
    prim.reclen = reclen;
    prim.memsize = KVRN_MEM_MIN * 4;
    KVRNLINK link{};
    KVRNSESS sess{};
    KVRNOPT options{nullptr, sel, nullptr};
    std::string out;
    EXPECT_EQ(kvrnopen(KVRN_VERSION_L4, &link, &prim, &sess, reinterpret_cast<KVRNKEY *>(&keys),
                       nullptr, &options),
              0);
    sess.code = KVRN_RECORD;
    sess.recaddr = records.data();
    sess.reclen = static_cast<uint32_t>(records.size());
    EXPECT_EQ(kvrnput(&sess), 0);
    sess.code = KVRN_END;
    EXPECT_EQ(kvrnput(&sess), 1);
    while (kvrnget(&sess) == 0)
        out.append(static_cast<const char *>(sess.recaddr), sess.reclen);
    EXPECT_EQ(kvrnclse(KVRN_VERSION_L4, &link, &prim, &sess), 0);
    EXPECT_EQ(sess.detail, 0u);
    return out;
}

} // namespace

TEST(condition, random_expressions_keep_what_they_say) {
    tempfolder folder;
    const std::string path = folder.file("lay");
    std::string text = "# fields\n\n";
    for (const place &one : places)
        if (one.text[0] != '[')
            text += std::string(one.name) + " = " + one.text + "\n";
    text += "city=5,4 \r\n  zl_2 = 18,3,clo";
    std::FILE *file = std::fopen(path.c_str(), "wb");
    std::fputs(text.c_str(), file);
    std::fclose(file);
    const command::layout names(path);

#if defined(_WIN32)
    constexpr size_t expressions = 400; // a session takes its time under Wine
#else
    constexpr size_t expressions = 4000;
#endif
    constexpr size_t records = 24;
    randomness r(11);
    for (size_t i = 0; i < expressions && !::testing::Test::HasFailure(); ++i) {
        const code &in = codes[i % std::size(codes)];
        const phrase said = speaker(r, in).expression(4);
        SCOPED_TRACE(said.text + ", code " + std::to_string(in.cdmode));
        command::recordview view;
        view.cdmode = in.cdmode;
        command::conditiontable table;
        try {
            table = command::parsecondition({said.text, "test"}, view, names);
        } catch (const command::failure &what) {
            FAIL() << what.what;
        }
        std::string given, want;
        for (size_t number = 0; number < records; ++number) {
            values v;
            std::string record;
            for (size_t f = 0; f < placecount; ++f) {
                const kind of = places[f].of;
                v.texts[f] = std::string(r.below(3), static_cast<char>(r.between('A', 'C')));
                v.texts[f].resize(4, ' ');
                v.numbers[f] =
                    static_cast<int>(r.below(of == bi || of == bit ? 10 : 19)) + leastof(of);
                record += encoded(places[f], in, v.texts[f], v.numbers[f]);
            }
            record.resize(reclen, '\0');
            record[numberat + 1] = static_cast<char>(number);
            given += record;
            if (said.holds(v))
                want += record;
        }
        EXPECT_EQ(kept(table, in, given), want);
    }
}
