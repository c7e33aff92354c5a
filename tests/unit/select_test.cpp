// The record filter: exact bytes of its own comparators, the order of operands by
// type and code of data, the way through a program, and no byte read beside a record.
#include "key/textfields.h"
#include "select/comparators.h"
#include "select/select.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kvern {
namespace {

constexpr uint8_t LIT = KVRN_FLD_LIT;
constexpr int32_t failed = -1;

TEST(select, zoned_comparators_give_exact_bytes) {
    const struct {
        coder comparator;
        const char *field, *encoded;
    } cases[] = {
        {sel_zoned_5, "31 32 33", "30 12 00 FF"}, {sel_zoned_5, "31 32 53", "C0 ED FF 00"},
        {sel_zoned_e, "F1 D2", "D0 FE 00"},       {sel_zoned_e, "B7", "80 00"},
        {sel_zoned_7, "31 32", "20 01 FF"},       {sel_zoned_5, "3A 3F 3E", "E0 AF 00 FF"},
        {sel_zoned_o, "31 32 7B", "FF 00 12 00"}, {sel_zoned_o, "52", "FF 90"},
    };
    for (const auto &c : cases) {
        const bytes field = fromhex(c.field);
        bytes encoded(field.size() + 1, 0xEE);
        const auto length = static_cast<uint32_t>(field.size());
        const int32_t written = c.comparator(nullptr, encoded.data(), field.data(), length, 16, {});
        EXPECT_EQ(written, static_cast<int32_t>(encoded.size()));
        EXPECT_EQ(tohex(encoded), c.encoded) << c.field;
    }
}

// A session with a program, as the analysis leaves it; the operand buffers are dirty.
struct filter : enginecontext {
    explicit filter(const std::vector<KVRNSELE> &conditions)
        : program(sizeof(KVRNSEL) + conditions.size() * sizeof(KVRNSELE)) {
        selspec = reinterpret_cast<KVRNSEL *>(program.data());
        selspec->count = static_cast<uint32_t>(conditions.size());
        std::copy(conditions.begin(), conditions.end(), selspec->entry);
        for (const KVRNSELE &c : conditions) {
            selmaxlen = std::max({selmaxlen, (c.llen + 4) & ~3u, (c.rlen + 4) & ~3u});
            selmaxpos = std::max(selmaxpos, c.lpos + c.llen - 1);
            selmaxfld = std::max(selmaxfld, c.lpos);
        }
        operands.assign(static_cast<size_t>(operandroom(this)), 0xEE);
        layoutoperands(this, operands.data());
    }
    int32_t test(const bytes &data) {
        const bytes block(data); // on the heap, nothing behind it
        scanlimit = block.data() + block.size();
        inreclen = static_cast<uint32_t>(block.size());
        chooseselect(this);
        const int32_t first = selecteval(this, block.data());
        EXPECT_EQ(selecteval(this, block.data()), first); // with the literal encoded before
        return first;
    }

  private:
    bytes program, operands;
};

KVRNSELE condition(uint8_t ltype, uint32_t lpos, uint32_t llen, const bytes &literal) {
    KVRNSELE cond{};
    cond.op = KVRN_OP_EQ;
    cond.ltype = ltype;
    cond.lpos = lpos;
    cond.llen = llen;
    cond.rtype = LIT;
    cond.rlit = literal.data();
    cond.rlen = static_cast<uint32_t>(literal.size());
    cond.iftrue = KVRN_GO_KEEP;
    cond.iffalse = KVRN_GO_DROP;
    return cond;
}

TEST(select, operands_compare_by_type_and_code) {
    const struct {
        uint8_t cdmode, ltype, rtype;
        const char *left;
        char order;
        const char *right;
    } cases[] = {
        // Characters: the longer one is cut.
        {237, 161, 161, "41 42 43", '=', "41 42 43 44 45"},
        {238, 161, LIT, "41 42", '=', "41 42 43"},
        {236, 177, LIT, "C1 C2 C3 C4 C5", '>', "C1 C2 C3 C3"},
        // Under the mask 0F; a literal is taken whole.  Binary numbers.
        {237, 193, 193, "C5", '=', "45"},
        {237, 193, LIT, "C5", '<', "45 FF FF"},
        {237, 198, 198, "FF", '<', "FF FF"},
        {237, 198, LIT, "00 00 00 00 07", '=', "07"},
        {237, 194, 194, "FF", '=', "FF FF"},
        {237, 194, LIT, "80", '>', "FF 7F"},
        // Packed beside zoned.
        {237, 197, 162, "12 3C", '=', "31 32 33"},
        {237, 162, 197, "30 30 30 31 32 53", '=', "12 3B"},
        {236, 162, 197, "F1 C2", '=', "00 00 00 01 2F"},
        {236, 162, LIT, "F1 F2 D3", '<', "D9"},
        {238, 197, 162, "01 2D", '<', "71"},
        {237, 162, LIT, "50", '<', "30"},
        {237, 197, LIT, "00 5D", '=', "5B"},
        // Signs apart, on either side.
        {237, 163, 164, "2D 35", '=', "30 30 35 2D"},
        {236, 164, 163, "F5 60", '>', "60 F0 F6"},
        {238, 163, LIT, "2D 30 30 35", '<', "2D"},
        // Zoned on either side; the sign stays in the first digit.
        {237, 166, 166, "30 55", '=', "30 30 30 55"},
        {237, 165, 165, "55", '=', "50 30 30 35"},
        {236, 165, 166, "D5 F1", '=', "F0 F0 F5 B1"},
        {237, 165, LIT, "50 30 31", '<', "32"},
        // Overpunched: last digit first, no sign; no packed number is equal; a
        // letter in front does not survive widening.
        {239, 162, 162, "32 31 41", '<', "31 32 42"},
        {239, 162, 162, "31 4B", '=', "31 42"},
        {239, 162, 197, "31 32", '<', "01 2C"},
        {239, 166, 165, "31 4B", '=', "4A 32"},
        {239, 165, 165, "4A", '>', "30 31"},
    };
    for (const auto &c : cases) {
        const bytes left = fromhex(c.left), right = fromhex(c.right);
        KVRNSELE cond = condition(c.ltype, 0, static_cast<uint32_t>(left.size()), right);
        bytes record = left;
        cond.mask = 0x0F;
        if (c.rtype != LIT) {
            cond.rtype = c.rtype;
            cond.rpos = cond.llen;
            record.insert(record.end(), right.begin(), right.end());
        }
        const bool above = c.order == '>', below = c.order == '<';
        const bool wanted[] = {c.order == '=', above || below, above, !below, below, !above};
        for (uint8_t op = KVRN_OP_EQ; op <= KVRN_OP_LE; ++op) {
            cond.op = op;
            filter ctx({cond});
            ctx.cdmode = c.cdmode;
            EXPECT_EQ(ctx.test(record) == 0, wanted[op - KVRN_OP_EQ])
                << int{c.cdmode} << " " << c.left << ", " << c.right << " op " << int{op};
        }
    }
}

// Entry i tests the record's byte i for its letter, and keeps, drops, goes on to the
// next or to the entry of a digit; "?" is no outcome.
TEST(select, programs) {
    const struct {
        std::string_view entries, record;
        int32_t result;
    } cases[] = {
        {"aKD", "a...", 0},          {"aDK", "a...", 4},         {"aND bKD", "ab..", 0},
        {"aND bKD", "a...", 4},      {"a2N bKD cKD", "a.c.", 0}, {"aN2 bKD c1D", ".bc.", 0},
        {"aND b0K", "ab..", failed}, {"a0D", "a...", failed},    {"a1D", "a...", failed},
        {"a?D", "a...", failed},
    };
    const bytes letters = fromtext("abc");
    for (const auto &c : cases) {
        std::vector<KVRNSELE> conditions;
        for (size_t at = 0; at < c.entries.size(); at += 4) {
            const auto i = static_cast<uint32_t>(at / 4);
            KVRNSELE cond = condition(161, i, 1, letters);
            cond.rlit = &letters[i];
            cond.rlen = 1;
            const auto outcome = [](char code, uint32_t *jump) -> uint8_t {
                *jump = static_cast<uint32_t>(code - '0');
                return code == 'K'   ? 230
                       : code == 'D' ? 231
                       : code == 'N' ? 233
                       : code == '?' ? 7
                                     : 232;
            };
            cond.iftrue = outcome(c.entries[at + 1], &cond.truejump);
            cond.iffalse = outcome(c.entries[at + 2], &cond.falsejump);
            conditions.push_back(cond);
        }
        filter ctx(conditions);
        EXPECT_EQ(ctx.test(fromtext(c.record)), c.result) << c.entries;
        EXPECT_EQ(ctx.lastmsg, c.result == failed ? 43u : 0u) << c.entries;
    }
}

TEST(select, types_without_comparison) {
    const bytes record = fromtext("abcd\n");
    for (const int type : {199, 203, 222, 223, 177})
        for (const bool text : {false, true}) {
            filter ctx({condition(static_cast<uint8_t>(type), 0, 4, record)});
            if (text)
                ctx.maketext(KVRN_COLUMNS);
            const bool silent = type == 203 || (!text && (type == 222 || type == 223));
            EXPECT_EQ(ctx.test(record), failed) << type;
            EXPECT_EQ(ctx.errdetail, silent ? 0u : uint32_t{KVRN_D_LOGIC}) << type;
        }
}

// Keeps records whose bytes from 1 on, or field 1, are "bc"; text is folded.
TEST(select, records_end_where_they_end) {
    constexpr char var = 'v', column = 'c', number = 'n';
    const struct {
        char form;
        std::string_view data;
        int32_t result; // 0 kept, the size of a dropped one, -1
        uint32_t detail = 0;
        const char *delimiter = "\n";
        uint32_t length = 2;
    } cases[] = {
        {var, {"\3\0\0\0abc", 7}, 0},
        {var, {"\3\0\0\0abx", 7}, 8},
        {var, {"\2\0\0\0abc", 7}, failed, KVRN_D_NOSELFIELD},
        {var, {"\4\0\0\0abc", 7}, failed, KVRN_D_RECLEN},
        {var, {"\3\0\0", 3}, failed, KVRN_D_RECLEN},
        {var, "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", failed, KVRN_D_RECLEN},
        {column, "abx\n", 4},
        {column, "abCd\r\nx", 0, 0, "\r\n"},
        {column, "abcd\n", 5, 0, "\n", 3}, // begins with the literal, and is not equal
        {column, "ab\n", failed, KVRN_D_NOSELFIELD},
        {column, "abc", failed, KVRN_D_NODELIMITER},
        {column, {"a\0cdef\n", 7}, 7},        // the zero byte is one of the line
        {column, {"axx\0", 4}, 4, 0, "\r\n"}, // it ends a line that has no delimiter
        {number, "a,bcd\n", 0},               // no more of a field than the condition names
        {number, "a,bc,\n", 0, 0, "\n", 256},
        {number, "a,b\n", 4},
        {number, "a,\n", 3},
        {number, "abc\n", failed, KVRN_D_NOSELFIELD},
        {number, "a,bc", failed, KVRN_D_NODELIMITER},
    };
    for (const auto &c : cases) {
        const bytes literal = fromtext(c.form == var ? "bc" : "BC");
        KVRNSELE cond = condition(161, 1, c.length, literal);
        cond.options = KVRN_TXT_FOLD;
        filter ctx({cond});
        ctx.recform = 'v';
        if (c.form != var)
            ctx.maketext(c.form == column ? KVRN_COLUMNS : KVRN_FIELDS, c.delimiter);
        ctx.sepgiven = 1;
        ctx.sepstr = reinterpret_cast<const uint8_t *>(",");
        ctx.seplen = 1;
        wirescanners(&ctx);
        fieldrow rows[3];
        ctx.selfields = rows;
        EXPECT_EQ(ctx.test(fromtext(c.data)), c.result) << c.data;
        EXPECT_EQ(ctx.errdetail, c.detail) << c.data;
    }
}

} // namespace
} // namespace kvern
