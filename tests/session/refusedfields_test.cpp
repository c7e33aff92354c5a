// The field tables: places, types and lengths of keys, sums, pieces and conditions.
#include "refusal.h"

namespace kvern::test {
namespace {

constexpr uint8_t chars = KVRN_CHAR, zoned = KVRN_ZONED;

TEST(refusal, keys) {
    run({
        ROW(badkey + "0", r.key(90, 11)),
        ROW(badkey + "0", r.key(0xFFFFFFFF, 2)),
        ROW(accepted, r.prim.reclen = 256, r.key(0, 256, zoned)),
        ROW(badkey + "0", r.prim.reclen = 257, r.key(0, 257, zoned)),
        ROW(badkey + "0", r.prim.reclen = 257, r.key(0, 256, KVRN_MASKBYTE)),
        ROW(badkey + "0", r.key(0, 1, KVRN_SIGNLEAD)), // a sign, and no digit
        ROW(badkey + "0", r.key(0, 6, KVRN_WIDE4)),
        ROW(badkey + "1", r.key(0, 4, 1), r.key(0, 0), r.key(0, 4, zoned), r.key(0, 1)),
        ROW(badkey + "1", r.key(0, 4, chars, 32), r.key(4, 4, chars, 48)),
        ROW(badkey + "0", r.version = L3, r.key(0, 4, KVRN_CHARX)),
        ROW(badkey + "0", r.key(0, 4, KVRN_CHARX, KVRN_ASCENDING, 2)),
        ROW(badkey + "0", r.key(0, 4, KVRN_TABLED)), // no table
        ROW(accepted, r.key(99, 255, KVRN_MASKBYTE)),
        ROW(badkey + "0", r.key(100, 255, KVRN_MASKBYTE)),
        ROW(badkey + "0", r.text(244), r.key(0, 4, zoned)),
        ROW(badkey + "0", r.text(244), r.key(96, 4)), // into the delimiter
        ROW(accepted, r.text(243), r.key(500, 100)),
        ROW(badkey + "0", r.piece(0, 50), r.key(45, 6)),
        // Fields that no piece names, told upwards and before all else.
        ROW(badkey + "1", r.text(243), r.piece(5, 9), r.key(5, 4), r.key(7, 4), r.key(9, 4),
            r.key(3, 0)),
        ROW(noroom, r.keys.claim(toomany)),
        ROW(noroom, r.text(243), r.keys.claim(toomany)),
        ROW(badkey + "0", r.prim.cdmode = 236, r.prim.keyoption2 = 2),
    });
}

TEST(refusal, sums) {
    // A key at 4, length 4, and two fields.
    const auto with = [](session &r, uint8_t mode, uint32_t a, uint32_t b) {
        if (mode != 0)
            r.text(mode);
        r.key(4, 4);
        r.sum(a, 4, mode != 0 ? chars : zoned);
        r.sum(b, 4, mode != 0 ? chars : zoned);
    };
    run({
        ROW(badsum + "0", r.prim.options = KVRN_SUM),
        ROW(badsum + "1", r.sum(8, 0, zoned), r.sum(9, 19, zoned), r.sum(10, 4, zoned)),
        ROW(badsum + "0", r.key(0, 4), r.sum(4, 17, KVRN_PACKED)),
        ROW(badsum + "0", r.key(0, 4), r.sum(4, 9, KVRN_SLEBIN)),
        ROW(badsum + "0", r.key(0, 4), r.sum(4, 4, KVRN_FLOAT4)), // no type of sums
        ROW(badsum + "0", r.text(244), r.key(0, 4), r.sum(8, 4, zoned)),
        ROW(overlap, r.sum(8, 4, zoned)), // no key to sum by
        ROW(noroom, r.prim.options = KVRN_SUM, r.sums.claim(toomany)),
        ROW(overlap, with(r, 0, 20, 7)),
        ROW(overlap, with(r, 0, 20, 23)),
        ROW(accepted, with(r, 0, 20, 96)),
        ROW(badsum + "1", with(r, 0, 96, 97)), // bound before overlap
        // The length word of variable records counts.
        ROW(accepted, with(r, 0, 20, 92), r.prim.recform = 'v'),
        ROW(badsum + "1", with(r, 0, 20, 93), r.prim.recform = 'v'),
        ROW(overlap, with(r, 244, 20, 6)),
        ROW(overlap, with(r, 243, 2, 2)),
        ROW(overlap, with(r, 243, 4, 2)),
        ROW(accepted, with(r, 243, 3, 2)),
    });
}

TEST(refusal, rebuilding) {
    run({
        ROW(badrcn + "0", r.prim.options = KVRN_RECONSTRUCT),
        ROW(badrcn + "1", r.piece(0, 4), r.piece(0, 0)),
        ROW(badrcn + "0", r.piece(0, 4), r.pieces.get()->entry[0].type = KVRN_FLD_COPY - 1),
        ROW(badrcn + "0", r.piece(0, 4), r.pieces.get()->entry[0].type = KVRN_FLD_LIT),
        ROW(noroom, r.piece(0, 1), r.pieces.claim(toomany)),
        ROW(badrcn + "0", r.piece(90, 11)),
        ROW(badrcn + "0", r.piece(0xFFFFFFFF, 2)),
    });
}

// A literal must not hold what ends a line or a field.
TEST(refusal, literals) {
    const struct {
        uint8_t mode;
        const char *separator, *text;
        uint32_t length;
        bool rebuilds, selects;
    } rows[] = {
        {0, nullptr, "\r\n", 2, true, true},      {244, nullptr, "ab\r\nc", 5, false, false},
        {244, nullptr, "ab\r", 3, true, true},    {244, nullptr, "ab\r\n", 3, true, true},
        {244, nullptr, "a\0\r\n", 4, true, true}, {243, nullptr, "  ab", 4, true, true},
        {243, nullptr, "a b", 3, false, false},   {243, nullptr, " \tab", 4, false, true},
        {243, ",", "a,b", 3, false, false},       {243, ",", "ab,", 3, true, true},
        {243, "::", "::b", 3, false, false},      {243, ",,,", "a", 1, true, true},
    };
    for (const auto &c : rows)
        for (const bool select : {false, true}) {
            session r;
            if (c.mode != 0)
                r.text(c.mode, KVRN_DLMT_CRLF);
            r.prim.separator = c.separator;
            if (select)
                r.select({compared(chars, 4, c.text, c.length)});
            else
                r.piece(0, c.length, c.text);
            const std::string bad = (select ? badsel : badrcn) + "0";
            EXPECT_EQ(r.opened(), (select ? c.selects : c.rebuilds) ? accepted : bad) << c.text;
        }
}

TEST(refusal, conditions) {
    const KVRNSELE good = cond(chars, 1, chars, 1);
    run({
        ROW(badsel + "0", r.prim.options = KVRN_SELECT),
        ROW(badsel + "0", r.select({good, good}), r.conditions.get()->entry[0].op = 208),
        ROW(badsel + "0", r.select({good, good}), r.conditions.get()->entry[0].op = 215),
        ROW(badsel + "0", r.select({compared(chars, 1, nullptr, 1)})),
        ROW(noroom, r.select({good}), r.conditions.claim(toomany)),
        ROW(accepted, r.prim.cdmode = 236, r.select({compared(KVRN_CHARX, 1, "", 1)})),
        ROW(badsel + "0", r.version = L3, r.select({compared(KVRN_CHARX, 1, "", 1)})),
        ROW(badsel + "0", r.prim.cdmode = 236, r.select({compared(chars, 4, "abcd", 4)})),
        ROW(accepted, r.prim.reclen = 256, r.select({cond(zoned, 256, zoned, 256)})),
        ROW(badsel + "0", r.prim.reclen = 257, r.select({cond(zoned, 257, zoned, 256)})),
        ROW(badsel + "0", r.prim.reclen = 257, r.select({cond(zoned, 256, zoned, 257)})),
        ROW(badsel + "0", r.select({compared(zoned, 1, "", 257)})),
        ROW(badsel + "0", r.text(244), r.select({compared(zoned, 1, "1", 1)})),
        ROW(badsel + "0", r.select({cond(chars, 4, chars, 4, 97, 0)})),
        ROW(badsel + "1", r.select({good, cond(chars, 4, chars, 4, 0, 97)})),
        ROW(badsel + "0", r.select({cond(chars, 4, chars, 4, 0xFFFFFFFE, 0)})),
        // Types that do not go together, and one that goes with literals alone.
        ROW(badsel + "0", r.select({cond(KVRN_SBEBIN, 4, KVRN_UBEBIN, 4)})),
        ROW(badsel + "0", r.select({cond(zoned, 4, KVRN_ZONEDLEAD, 4)})),
        ROW(badsel + "0", r.select({cond(KVRN_MASKBYTE, 4, zoned, 4)})),
        ROW(badsel + "0", r.select({cond(KVRN_SLEBIN, 4, KVRN_SLEBIN, 4)})),
    });
}

// Where a condition leads, on either outcome.
TEST(refusal, outcomes_of_conditions) {
    constexpr uint8_t keep = 230, drop = 231, jump = 232, next = 233;
    const auto leads = [](uint8_t iftrue, uint8_t iffalse, uint32_t to = 0, uint32_t falseto = 0) {
        KVRNSELE entry = cond(chars, 1, chars, 1);
        entry.iftrue = iftrue, entry.iffalse = iffalse;
        entry.truejump = to, entry.falsejump = falseto;
        return entry;
    };
    const KVRNSELE last = leads(keep, drop);
    const std::vector<KVRNSELE> many(232, last);
    run({
        ROW(accepted, r.select({leads(7, keep), last})), // one unknown outcome
        ROW(accepted, r.select({leads(next, 234), last})),
        ROW(badsel + "0", r.select({leads(7, 8), last})),
        ROW(badsel + "0", r.select({leads(keep, keep), last})),
        ROW(badsel + "0", r.select({leads(next, next), last})),
        ROW(accepted, r.select({leads(jump, jump), last})),
        ROW(accepted, r.select({leads(drop, jump, 9, 1), last})),
        ROW(badsel + "0", r.select({leads(drop, jump, 0, 2), last})),
        ROW(badsel + "0", r.select({leads(jump, keep, 2), last})),
        ROW(badsel + "0", r.select({leads(jump, next, 1), last})),
        ROW(badsel + "0", r.select({leads(next, jump, 0, 1), last})),
        // The last entry must decide.
        ROW(badsel + "1", r.select({leads(next, drop), leads(next, keep)})),
        ROW(badsel + "1", r.select({leads(next, drop), leads(keep, jump)})),
        // A jump to entry 232, the number of the code, is refused where both jump.
        ROW(accepted, r.select(many), r.select({leads(jump, drop, 232), last})),
        ROW(badsel + "232", r.select(many), r.select({leads(jump, jump, 232, 9), last})),
    });
}

} // namespace
} // namespace kvern::test
