// The four field tables: which entries are refused, by which number, and what is
// kept of the others.
#include "unit/analysis_rig.h"

#include "param/fieldlimits.h"

#include <cstring>

namespace kvern::paramtest {

TEST_F(analysis, lengths_by_use) {
    const struct {
        std::vector<uint8_t> types;
        std::vector<uint32_t> good, bad; // as a key
        uint32_t sum, operand;           // greatest length, 0 none
    } rows[] = {
        {{161, 177}, {1, 9999}, {0}, 256, 256},
        {{203}, {1, 9999}, {0}, 0, 256},
        {{202}, {1, 9999}, {0}, 0, 0},
        {{162}, {1, 256}, {0, 257}, 18, 256},
        {{165, 166}, {1, 256}, {0, 257}, 0, 256},
        {{197}, {1, 256}, {0, 257}, 16, 256},
        {{194, 198, 199}, {1, 256}, {0, 257}, 8, 256},
        {{163, 164}, {2, 256}, {0, 1, 257}, 0, 256},
        {{167, 173, 175, 195, 196}, {1, 256}, {0, 257}, 0, 0},
        {{193}, {1, 255}, {0, 256}, 0, 255},
        {{222}, {2, 9998}, {0, 1, 3}, 0, 256},
        {{223}, {4, 9996}, {0, 2, 6}, 0, 256},
        {{160, 240, 241}, {}, {1, 4}, 0, 0},
    };
    auto most = [](fielduse use, uint8_t type) {
        uint32_t length = 300;
        while (length != 0 && !fieldfits(use, type, length))
            length--;
        return length;
    };
    for (const auto &r : rows)
        for (const uint8_t type : r.types) {
            SCOPED_TRACE(+type);
            for (const uint32_t length : r.good)
                EXPECT_TRUE(fieldfits(fielduse::key, type, length)) << length;
            for (const uint32_t length : r.bad)
                EXPECT_FALSE(fieldfits(fielduse::key, type, length)) << length;
            EXPECT_EQ(most(fielduse::sum, type), r.sum);
            EXPECT_EQ(most(fielduse::left, type), r.operand);
            EXPECT_EQ(most(fielduse::right, type), type == 241 ? 256 : r.operand);
        }
}

TEST_F(analysis, keys) {
    run(&rig::analysed,
        {
            ROW(accepted, r.keyed({key(90, 10)})),
            ROW(badkey("0"), r.keyed({key(90, 11)})),
            ROW(badkey("0"), r.keyed({key(0xFFFFFFFF, 2)})),
            ROW(badkey("1"), r.keyed({key(0, 4, 1), key(0, 0), key(0, 4, 162), key(0, 1)})),
            ROW(badkey("1"), r.keyed({key(0, 4, 161, 32), key(4, 4, 161, 48)})),
            ROW(accepted, r.prim.reclen = 2000, r.keyed({key(0, 1000)})),
            ROW(badkey("0"), r.prim.reclen = 2000, r.keyed({key(0, 257, 162)})),
            ROW(accepted, r.keyed({key(0, 4, KVRN_CHARX)})),
            ROW(badkey("0"), r.version(L3), r.keyed({key(0, 4, KVRN_CHARX)})),
            ROW(badkey("0"), r.keyed({key(0, 4, KVRN_CHARX, 16, 2)})),
            ROW(badkey("0"), r.keyed({key(0, 4, KVRN_TABLED)})), // no table
            ROW(accepted, r.keyed({key(99, 255, KVRN_MASKBYTE)})),
            ROW(badkey("0"), r.keyed({key(100, 255, KVRN_MASKBYTE)})),
            ROW(badkey("0"), r.keyed({key(5000000, 1, KVRN_MASKBYTE)})),
            ROW(badkey("0"), r.text(244), r.keyed({key(0, 4, KVRN_ZONED)})),
            ROW(badkey("0"), r.text(244), r.keyed({key(96, 4)})), // into the delimiter
            ROW(accepted, r.text(243), r.keyed({key(500, 100)})),
            ROW(badkey("0"), r.rebuild({piece(0, 50)}), r.keyed({key(45, 6)})),
            // Fields that no piece names, told upwards and before all else.
            ROW(badkey("1"), r.text(243), r.rebuild({piece(5, 9)}),
                r.keyed({key(5, 4), key(7, 4), key(9, 4), key(3, 0)})),
            ROW(shortarena, r.keyed({}, toomany)),
            ROW(shortarena, r.text(243), r.keyed({}, toomany)),
            ROW(badkey("0"), r.prim.cdmode = 236, r.prim.keyoption2 = 2),
        });
}

TEST_F(analysis, keys_stored) {
    const std::vector<uint8_t> table(256, 7);
    rig r;
    r.version(KVRN_VERSION_L0_LEBIN);
    r.keyed({key(0, 4, KVRN_TABLED, 16, 0, table.data()), key(20, 0x81, KVRN_MASKBYTE, 32),
             key(4, 4, KVRN_UBEBIN)});
    ASSERT_EQ(r.analysed(), accepted);
    const keyentry *row = r.ctx.keytable->entry; // last entry first
    EXPECT_EQ(row[0].type, KVRN_SLEBIN);
    EXPECT_EQ(row[1].len, 1u);
    EXPECT_EQ(row[1].table[0], 0x81);
    EXPECT_NE(row[2].table, table.data()); // the caller's may go away
    EXPECT_EQ(memcmp(row[2].table, table.data(), 256), 0);
}

TEST_F(analysis, sums) {
    run(&rig::analysed,
        {
            ROW(badsum("0"), r.prim.options = KVRN_SUM),
            ROW(badsum("0"), r.sums({})),
            ROW(accepted, r.keyed({key(0, 4)}), r.sums({sum(8, 8, 198)})),
            ROW(badsum("0"), r.keyed({key(0, 4)}), r.sums({sum(8, 9, 198)})),
            ROW(accepted, r.keyed({key(0, 4)}), r.sums({sum(8, 4, 177)})),
            ROW(badsum("0"), r.keyed({key(0, 4)}), r.sums({sum(8, 4, 161)})),
            ROW(badsum("1"), r.sums({sum(8, 0), sum(9, 19), sum(10, 4)})),
            ROW(accepted, r.text(244), r.keyed({key(0, 4)}), r.sums({sum(8, 4, 161)})),
            ROW(badsum("0"), r.text(244), r.keyed({key(0, 4)}), r.sums({sum(8, 4)})),
            ROW(overlap, r.sums({sum(8, 4)})), // no key to sum by
            ROW(shortarena, r.sums({}, toomany)),
            ROW(badsum("0"), r.prim.options = KVRN_SUM | KVRN_RECONSTRUCT),
            // A place far away is a gap beyond any record.
            ROW(refused(23, KVRN_D_SETUP), r.keyed({key(0, 4)}), r.sums({sum(0x10000000, 4)})),
            ROW(refused(23, KVRN_D_SETUP), r.prim.recform = 'v', r.keyed({key(0, 4)}),
                r.sums({sum(0xFFFFFFFE, 4)})),
        });
}

TEST_F(analysis, rebuilding) {
    run(&rig::analysed,
        {
            ROW(badrcn("0"), r.prim.options = KVRN_RECONSTRUCT),
            ROW(badrcn("1"), r.rebuild({piece(0, 4, 1), piece(0, 4, 242), piece(0, 4)})),
            ROW(badrcn("1"), r.rebuild({piece(0, 4), piece(0, 0)})),
            ROW(badrcn("0"), r.rebuild({literal(nullptr, 4)})),
            ROW(shortarena, r.rebuild({literal("x", 0xFFFFFFFF)})),
            ROW(shortarena, r.rebuild({}, toomany)),
            // Lengths whose sum leaves 32 bits.
            ROW(refused(23, KVRN_D_SETUP), r.rebuild({piece(0, 0xFFFFFFFF), piece(0, 0xFFFFFFFF)})),
            ROW(refused(23, KVRN_D_SETUP), r.text(244), r.keyed({key(0, 4)}),
                r.rebuild({piece(0, 0x80000000), piece(0, 0x80000004)})),
        });
    rig r; // the literal's copy
    const char text[] = "abc";
    r.rebuild({piece(6, 4), literal(text, 3)});
    ASSERT_EQ(r.analysed(), accepted);
    EXPECT_EQ(r.ctx.outreclen, 7u);
    EXPECT_NE(r.ctx.reconspec->entry[1].literal, text);
    EXPECT_EQ(memcmp(r.ctx.reconspec->entry[1].literal, text, 3), 0);
}

TEST_F(analysis, selection_operands) {
    const KVRNSELE good = cond(161, 0, 1, 161, 0, 1);
    auto lengths = [](uint8_t ltype, uint32_t llen, uint8_t rtype, uint32_t rlen) {
        return cond(ltype, 0, llen, rtype, 0, rlen);
    };
    run(&rig::analysed,
        {
            ROW(badsel("0"), r.prim.options = KVRN_SELECT),
            ROW(badsel("0"), r.select({cond(161, 0, 1, 161, 0, 1, 208), good})),
            ROW(badsel("0"), r.select({cond(161, 1, nullptr, 1)})),
            ROW(shortarena, r.select({}, toomany)),
            ROW(badsel("1"), r.select({good, lengths(161, 257, 161, 1), good})),
            ROW(badsel("0"), r.select({lengths(161, 1, 161, 0)})),
            ROW(badsel("0"), r.select({lengths(241, 1, 161, 1)})),
            ROW(badsel("0"), r.select({cond(161, 1, "", 257)})),
            ROW(accepted, r.select({cond(177, 1, "", 1)})),
            ROW(badsel("0"), r.version(L3), r.select({cond(177, 1, "", 1)})),
            ROW(accepted, r.version(L3), r.select({lengths(161, 1, 177, 1)})),
            ROW(accepted, r.select({lengths(193, 255, 193, 255)})),
            ROW(badsel("0"), r.select({lengths(193, 1, 161, 1)})),
            ROW(accepted, r.select({lengths(161, 1, 193, 255)})),
            ROW(accepted, r.text(244), r.select({lengths(203, 1, 161, 1), cond(161, 1, "", 1)})),
            ROW(badsel("0"), r.text(244), r.select({lengths(162, 1, 161, 1)})),
            ROW(badsel("0"), r.text(244), r.select({lengths(161, 1, 162, 1)})),
        });

    rig r;
    const char bits[] = "\x40\x20";
    r.select({cond(193, 0xC0, bits, 2), lengths(193, 0xC1, 193, 7)});
    ASSERT_EQ(r.analysed(), accepted);
    const KVRNSELE *kept = r.ctx.selspec->entry;
    EXPECT_EQ(kept[0].mask, 0xC0);
    EXPECT_EQ(kept[0].llen, 1u);
    EXPECT_EQ(kept[0].rlen, 2u);
    EXPECT_NE(kept[0].rlit, bits);
    EXPECT_EQ(memcmp(kept[0].rlit, bits, 2), 0);
    EXPECT_EQ(kept[1].mask, 0xC1);
    EXPECT_EQ(kept[1].rlen, 1u);
}

TEST_F(analysis, selection_outcomes) {
    constexpr uint8_t keep = 230, drop = 231, jump = 232, next = 233;
    auto jumps = [](uint8_t iftrue, uint8_t iffalse, uint32_t to = 0, uint32_t falseto = 0) {
        KVRNSELE entry = cond(161, 0, 1, 161, 0, 1);
        entry.iftrue = iftrue, entry.iffalse = iffalse;
        entry.truejump = to, entry.falsejump = falseto;
        return entry;
    };
    // The first of three entries; the others are in order.
    const std::vector<KVRNSELE> good = {
        jumps(keep, drop),       jumps(drop, keep),    jumps(next, keep),
        jumps(7, keep),          jumps(next, 234),     jumps(jump, keep, 2),
        jumps(drop, jump, 9, 2), jumps(jump, next, 2), jumps(next, jump, 1, 2),
        jumps(jump, jump, 2, 1), jumps(jump, jump)};
    const std::vector<KVRNSELE> bad = {jumps(keep, keep),       jumps(drop, drop),
                                       jumps(next, next),       jumps(7, 8),
                                       jumps(jump, keep, 3),    jumps(jump, keep, 0xFFFFFFFF),
                                       jumps(drop, jump, 0, 3), jumps(jump, next, 1),
                                       jumps(next, jump, 0, 1)};
    for (const auto *list : {&good, &bad})
        for (const KVRNSELE &first : *list) {
            rig r;
            r.select({first, jumps(next, drop), jumps(keep, drop)});
            EXPECT_EQ(r.analysed(), list == &good ? accepted : badsel("0"))
                << +first.iftrue << " " << +first.iffalse;
        }
    for (const auto &[iftrue, iffalse] : {std::pair{next, keep}, {keep, next}, {jump, keep}}) {
        rig r; // the last entry must decide
        r.select({jumps(next, drop), jumps(iftrue, iffalse)});
        EXPECT_EQ(r.analysed(), badsel("1"));
    }
    // A jump to entry 232, the number of the code, is refused where both jump.
    for (const uint8_t iffalse : {drop, jump}) {
        rig r;
        std::vector<uint64_t> room((offsetof(KVRNSEL, entry) + 240 * sizeof(KVRNSELE)) / 8 + 1);
        r.select({});
        r.opts.sel = reinterpret_cast<KVRNSEL *>(room.data());
        r.opts.sel->count = 240;
        std::fill_n(r.opts.sel->entry, 240, jumps(keep, drop));
        r.opts.sel->entry[4] = jumps(jump, iffalse, 232, 9);
        EXPECT_EQ(r.analysed(), iffalse == drop ? accepted : badsel("4"));
    }
}

} // namespace kvern::paramtest
