// Random expressions of the filter language over random records: what the engine keeps by
// the compiled table is what the expression says.
#include "kvern/syntax/condition.h"

#include "handmade.h"
#include "support/fieldvalues.h"

#include <array>
#include <bitset>

namespace kvern::test {
namespace {

constexpr uint32_t recordcount = 24;
using verdicts = std::bitset<recordcount>; // of each record
struct phrase {
    std::string text;
    verdicts holds;
};
struct operand {
    std::string text;
    std::array<int, recordcount> value;
};

// The fields of a record, one behind the other; those with a letter in common compare with
// each other.
constexpr struct place {
    const char *text, *kin;
    uint8_t type;
    uint32_t length;
} places[] = {
    // clang-format off
    {"1,4", "t", KVRN_CHAR, 4},      {"5,4,ch", "t", KVRN_CHAR, 4},
    {"9,3,zd", "zp", KVRN_ZONED, 3}, {"12,3,zd", "zp", KVRN_ZONED, 3},
    {"15,3,zl", "z", KVRN_ZONEDLEAD, 3}, {"18,3,clo", "z", KVRN_ZONEDLEAD, 3},
    {"21,2,pd", "p", KVRN_PACKED, 2}, {"23,3,pd", "p", KVRN_PACKED, 3},
    {"26,1,bi", "b", KVRN_UBEBIN, 1}, {"27,2,bi", "b", KVRN_UBEBIN, 2},
    {"29,2,fi", "f", KVRN_SBEBIN, 2}, {"31,1,fi", "f", KVRN_SBEBIN, 1},
    {"32,3,sl", "s", KVRN_SIGNLEAD, 3}, {"35,4,cst", "s", KVRN_SIGNTRAIL, 4},
    {"39,1,bit=0x0F", "m", KVRN_MASKBYTE, 1},
    // clang-format on
};
constexpr size_t placecount = std::size(places);
constexpr uint32_t numberat = 39; // the record's own

// An operator says itself which signs of a difference it admits.
bool admits(const std::string &op, int difference) {
    const char sign = difference < 0 ? '<' : difference > 0 ? '>' : '=';
    return (op == "!=" ? "<>" : op).find(sign) != std::string::npos;
}
phrase compared(const operand &left, const std::string &op, const operand &right) {
    phrase out = {left.text + op + right.text, {}};
    for (size_t i = 0; i < recordcount; ++i)
        out.holds[i] = admits(op, left.value[i] - right.value[i]);
    return out;
}

struct speaker {
    randomness &r;
    uint8_t cdmode;
    std::array<std::array<int, recordcount>, placecount> values{};
    strings records{};

    speaker(randomness &random, uint8_t code) : r(random), cdmode(code) {
        for (uint32_t i = 0; i < recordcount; ++i) {
            std::string record;
            for (size_t f = 0; f < placecount; ++f) {
                const place &one = places[f];
                const bool word = one.type == KVRN_CHAR; // of one character and blanks
                values[f][i] = numberfor(one.type);
                record += fieldof(one.type, word ? 1 : one.length, code, values[f][i], r);
                record.append(word ? 3 : 0, code == KVRN_CD_EBCDIC ? '@' : ' ');
            }
            record.back() = static_cast<char>(record.back() | 0x30); // outside of the mask
            records.push_back(record + static_cast<char>(i));
        }
    }

    phrase expression(int depth) {
        const phrase first = factor(depth);
        std::string text = first.text;
        verdicts sum, product = first.holds;
        while (r.onein(2)) {
            const phrase more = factor(depth);
            const bool both = r.onein(2);
            text += (both ? "\nand " : " or ") + more.text;
            sum |= both ? verdicts{} : product;
            product = both ? product & more.holds : more.holds;
        }
        return {text, sum | product};
    }

    // Near each other, so that they meet.
    int numberfor(uint8_t type) {
        const bool sign = type != KVRN_CHAR && type != KVRN_UBEBIN && type != KVRN_MASKBYTE;
        return static_cast<int>(r.below(sign ? 19 : 10)) - (sign ? 9 : 0);
    }
    operand literal(uint8_t type) {
        operand out;
        out.value.fill(numberfor(type));
        out.text = std::to_string(out.value[0]);
        if (type == KVRN_CHAR)
            out.text = r.onein(2) ? "'" + out.text + "'" : '"' + out.text + '"';
        return out;
    }
    operand field(size_t which) {
        const std::string place = places[which].text;
        return {r.pick({place, "[" + place + "]", "f-" + std::to_string(which)}), values[which]};
    }

    phrase factor(int depth) {
        phrase out = test();
        if (depth > 0 && r.onein(2)) {
            out = expression(depth - 1);
            out.text = "(" + out.text + ")";
        }
        return r.onein(4) ? phrase{"not " + out.text, ~out.holds} : out;
    }
    phrase test() {
        const size_t which = r.below(placecount), other = r.below(placecount);
        const auto &[_, kin, type, length] = places[which];
        const operand one = field(which), low = literal(type), high = literal(type);
        switch (r.below(6)) {
        case 0:
            return {one.text + " between " + low.text + " and " + high.text,
                    compared(one, ">=", low).holds & compared(one, "<=", high).holds};
        case 1: {
            const auto any = compared(one, "=", low).holds | compared(one, "=", high).holds;
            const std::string list = " in (" + low.text + ", " + high.text + ")";
            return r.onein(2) ? phrase{one.text + list, any}
                              : phrase{one.text + " not" + list, ~any};
        }
        default:
            const bool mixed = (type == KVRN_PACKED) != (places[other].type == KVRN_PACKED);
            const bool meet = std::strpbrk(kin, places[other].kin) != nullptr &&
                              !(mixed && cdmode == KVRN_CD_OVERPUNCH);
            return compared(one, r.pick({"==", "=", "!=", "<>", "<", "<=", ">", ">="}),
                            meet ? field(other) : low);
        }
    }
};

TEST(condition, random_expressions_keep_what_they_say) {
    const tempfolder folder;
    std::string layout;
    for (const place &one : places)
        layout += "f-" + std::to_string(&one - places) + " = " + one.text + "\n";
    writefile(folder.file("lay"), layout);
    const command::layout names(folder.file("lay"));
    randomness r(11);
    // A session takes its time under Wine.
    for (size_t left = sizeof(void *) == 4 ? 400 : 4000; left > 0 && !HasFailure(); --left) {
        command::recordview view;
        view.cdmode = static_cast<uint8_t>(r.between(KVRN_CD_EBCDIC, KVRN_CD_OVERPUNCH));
        speaker one(r, view.cdmode);
        const phrase said = one.expression(3);
        SCOPED_TRACE(said.text + ", code " + std::to_string(view.cdmode));
        const auto table = command::parsecondition({said.text, "test"}, view, names);
        handmade s;
        s.prim.options = KVRN_SELECT;
        s.prim.cdmode = view.cdmode;
        s.prim.reclen = numberat + 1;
        s.prim.memsize = KVRN_MEM_MIN * 4;
        for (const KVRNSELE &entry : table.entries)
            s.conditions.add(entry);
        verdicts kept;
        for (const std::string &record : s.sort(one.records))
            kept[static_cast<size_t>(record[numberat])] = true;
        EXPECT_EQ(kept, said.holds);
        EXPECT_EQ(s.close(), 0);
        EXPECT_EQ(s.sess.detail, 0U);
    }
}

} // namespace
} // namespace kvern::test
