// The session as a whole: contradictions between files, options and fields, in
// their order, and the lengths that come out.
#include "unit/analysis_rig.h"

namespace kvern::paramtest {

const verdict exclusive{-1, 14, KVRN_D_EXCLUSIVE, stale};
const verdict unsupported{-1, 17, KVRN_D_UNSUPPORTED, stale};
const verdict samefile{-1, 28, KVRN_D_SAMEFILE, stale};
const verdict nolength{-1, 31, KVRN_D_NORECLEN, stale};

TEST_F(analysis, crosscheck_files) {
    const char *input = "./kvern-b"; // another name of the same
    run(&rig::checked,
        {
            ROW(accepted, r.twofiles('s')),
            ROW(accepted, r.twofiles('s'), r.text(244)),
            ROW(refused(30, KVRN_D_FILEFORM, "Text file is not specified"), r.twofiles('s'),
                r.text(244), r.kinds({2})),
            ROW(badprim(), r.prim.reclen = 0), // record calls
            ROW(nolength, r.twofiles('s'), r.prim.reclen = 0),
            ROW(refused(29, KVRN_D_FORMAT, "kvern-b"), r.twofiles('s'), r.prim.recform = 'v'),
            ROW(refused(29, KVRN_D_FORMAT, "kvern-out"), r.prim.recform = 'v',
                r.output("kvern-out")),
            ROW(refused(29, KVRN_D_FORMAT, ""), r.prim.recform = 'v',
                r.prim.fileoprat = KVRN_STDOUT),
            ROW(refused(29, KVRN_D_FORMAT, "stdin"), r.prim.recform = 'v',
                r.prim.fileoprat = KVRN_STDIN),
            ROW(samefile, r.twofiles('s', input)),
            ROW(samefile, r.twofiles('m', input)),
            ROW(samefile, r.twofiles('c', input)),
            ROW(accepted, r.twofiles('s', input), r.prim.fileoprat = KVRN_SAMEFILE),
            ROW(accepted, r.twofiles('s', input), r.prim.fileoprat = KVRN_STDOUT),
            ROW(badprim(), r.twofiles('m'), r.prim.fileoprat = KVRN_SAMEFILE),
            ROW(accepted, r.version(L0), r.twofiles('m'), r.prim.fileoprat = KVRN_SAMEFILE),
        });
    for (const uint32_t left : {1039u, 1040u}) { // room to compare paths
        rig r;
        r.twofiles('m');
        ASSERT_EQ(r.analysed(), accepted);
        r.ctx.arenafree = left;
        EXPECT_EQ(r.crosschecked(), left == 1040 ? accepted : shortarena);
    }
}

// What no kind of file records yet, set by hand.
TEST_F(analysis, crosscheck_attributes) {
    struct row {
        std::function<void(qha5ctx &)> set;
        verdict expected;
    };
    auto attribute = [](uint32_t detail, const char *name) { return refused(30, detail, name); };
    const std::vector<row> rows = {
        {[](qha5ctx &c) { c.infiles[0]->form = 'v'; }, attribute(KVRN_D_FILEFORM, "kvern-a")},
        {[](qha5ctx &c) { c.infiles[0]->filereclen = 60; },
         attribute(KVRN_D_FILELENGTH, "kvern-a")},
        {[](qha5ctx &c) { c.infiles[1]->filesize = 150; }, attribute(KVRN_D_FILELENGTH, "kvern-b")},
        {[](qha5ctx &c) { c.outfile->form = 'v'; }, attribute(KVRN_D_FILEFORM, "kvern-out")},
        {[](qha5ctx &c) { c.outfile->filereclen = 99; }, attribute(KVRN_D_FILELENGTH, "kvern-out")},
        {[](qha5ctx &c) { c.infiles[0]->filesize = 200, c.infiles[1]->filesize = 300; }, accepted},
    };
    for (const row &c : rows) {
        rig r;
        r.twofiles('s');
        ASSERT_EQ(r.analysed(), accepted);
        c.set(r.ctx);
        EXPECT_EQ(r.crosschecked(), c.expected);
        EXPECT_EQ(r.ctx.estrecs, c.expected == accepted ? 5u : 0u);
    }
}

TEST_F(analysis, crosscheck_options) {
    auto with = [](rig &r, uint8_t function, int bits) {
        r.twofiles(function);
        r.keyed({key(0, 4)});
        r.sums({sum(10, 4)});
        r.rebuild({piece(0, 50)});
        r.prim.options = static_cast<uint8_t>(bits);
    };
    run(&rig::checked,
        {
            ROW(unsupported, r.prim.function = 'm', r.prim.recoprat = 4),
            ROW(unsupported, r.prim.function = 'm', r.prim.recoprat = 9),
            ROW(accepted, r.twofiles('m'), r.prim.recoprat = 12), // blocks mean nothing to files
            ROW(badprim(), r.twofiles('m'), r.prim.mergecnt = 3),
            ROW(badprim(), r.prim.function = 'm'),
            ROW(accepted, r.prim.function = 'm', r.prim.mergecnt = 3),
            ROW(badprim(), r.twofiles('m'), r.prim.mergecnt = 1, r.prim.fileoprat = KVRN_STDIN),
            ROW(unsupported, r.prim.function = 'c', r.output("kvern-out")),
            ROW(unsupported, r.prim.function = 'c', r.inputs({"kvern-a"})),
            ROW(accepted, with(r, 'c', KVRN_KEEPORDER)),
            ROW(badprim(), with(r, 'c', KVRN_SUPPRESS)),
            ROW(badprim(), with(r, 'c', KVRN_SUM)),
            ROW(badprim(), with(r, 'c', KVRN_DESCENDALL)),
            ROW(exclusive, with(r, 's', KVRN_SUM | KVRN_SUPPRESS)),
            ROW(exclusive, with(r, 's', KVRN_KEEPORDER | KVRN_SUPPRESS)),
            ROW(exclusive, with(r, 'm', KVRN_KEEPORDER | KVRN_SUM)),
            ROW(accepted, with(r, 's', KVRN_SUM)),
            // The order of the groups: files, same file, function, exclusion, rebuild.
            ROW(nolength, r.twofiles('s', "kvern-a"), r.prim.reclen = 0),
            ROW(samefile, r.twofiles('m', "kvern-a"), r.prim.mergecnt = 0),
            ROW(badprim(), with(r, 'c', KVRN_SUPPRESS | KVRN_KEEPORDER)),
            ROW(exclusive, with(r, 's', KVRN_SUPPRESS | KVRN_KEEPORDER | KVRN_RECONSTRUCT),
                r.prim.reclen = 49),
        });
}

TEST_F(analysis, crosscheck_literals) {
    struct row {
        uint8_t mode;
        const char *separator, *text;
        uint32_t length;
        bool rebuilds, selects;
    };
    const std::vector<row> rows = {
        {0, nullptr, "\r\n", 2, true, true},      {244, nullptr, "ab\r\nc", 5, false, false},
        {244, nullptr, "ab\r", 3, true, true},    {244, nullptr, "ab\r\n", 3, true, true},
        {244, nullptr, "a\0\r\n", 4, true, true}, {244, nullptr, "a b", 3, true, true},
        {243, nullptr, "  ab", 4, true, true},    {243, nullptr, "a b", 3, false, false},
        {243, nullptr, " \tab", 4, false, true},  {243, nullptr, "ab\t", 3, false, false},
        {243, ",", "a,b", 3, false, false},       {243, ",", "ab,", 3, true, true},
        {243, "::", "a::", 3, true, true},        {243, "::", "::b", 3, false, false},
        {243, ",,,", "a", 1, true, true},         {243, ",", "a b", 3, true, true},
    };
    for (const row &c : rows)
        for (const bool select : {false, true}) {
            rig r;
            if (c.mode != 0)
                r.text(c.mode, KVRN_DLMT_CRLF);
            r.prim.separator = c.separator;
            if (select)
                r.select({cond(161, 4, c.text, c.length)});
            else
                r.rebuild({literal(c.text, c.length)});
            const verdict bad = select ? badsel("0") : badrcn();
            EXPECT_EQ(r.checked(), (select ? c.selects : c.rebuilds) ? accepted : bad)
                << c.text << (select ? " selected" : " rebuilt");
        }
    run(&rig::checked,
        {
            ROW(badrcn(), r.rebuild({piece(90, 11)})),
            ROW(badrcn(), r.rebuild({piece(0xFFFFFFFF, 2)})),
            ROW(badrcn(), r.text(243), r.keyed({key(0, 4)}), r.rebuild({piece(96, 5)})),
        });
}

TEST_F(analysis, crosscheck_sums) {
    // A key at 4, length 4, and two fields.
    auto with = [](rig &r, uint8_t mode, KVRNSUME a, KVRNSUME b) {
        if (mode != 0)
            r.text(mode);
        r.keyed({key(4, 4)});
        r.sums({a, b});
    };
    constexpr uint8_t t = KVRN_CHAR;
    run(&rig::checked,
        {
            ROW(accepted, with(r, 0, sum(0, 4), sum(8, 4))),
            ROW(overlap, with(r, 0, sum(20, 4), sum(7, 4))),
            ROW(overlap, with(r, 0, sum(20, 4), sum(2, 10))),
            ROW(overlap, with(r, 0, sum(5, 1), sum(20, 4))),
            ROW(overlap, with(r, 0, sum(20, 4), sum(23, 4))),
            ROW(accepted, with(r, 0, sum(20, 4), sum(96, 4))),
            ROW(badsum("1"), with(r, 0, sum(96, 5), sum(97, 4))), // bound before overlap
            // The length word of variable records counts.
            ROW(accepted, with(r, 0, sum(20, 4), sum(92, 4)), r.prim.recform = 'v'),
            ROW(badsum("1"), with(r, 0, sum(20, 4), sum(93, 4)), r.prim.recform = 'v'),
            ROW(overlap, with(r, 244, sum(20, 4, t), sum(6, 4, t))),
            ROW(overlap, with(r, 243, sum(2, 4, t), sum(2, 4, t))),
            ROW(overlap, with(r, 243, sum(4, 4, t), sum(2, 4, t))),
            ROW(accepted, with(r, 243, sum(3, 4, t), sum(2, 4, t))),
            ROW(badsum("1"), with(r, 0, sum(20, 4), sum(97, 4)),
                r.select({cond(199, 0, 4, 199, 4, 4)})),
        });
    rig r;
    with(r, 0, sum(50, 7), sum(20, 3));
    ASSERT_EQ(r.checked(), accepted);
    EXPECT_EQ(r.ctx.sumlen, 12u);
    EXPECT_EQ(r.ctx.summaxpos, 56u);
}

TEST_F(analysis, crosscheck_selection) {
    // Every pair of types; operands of 4 bytes suit all of them.
    const std::vector<std::vector<uint8_t>> groups = {
        {161}, {177}, {203, 222, 223}, {193}, {194}, {198}, {197, 162}, {163, 164}, {165, 166}};
    std::vector<uint8_t> types = {199};
    for (const auto &group : groups)
        types.insert(types.end(), group.begin(), group.end());
    for (const uint8_t left : types)
        for (const uint8_t right : types) {
            bool good = false;
            for (const auto &group : groups)
                good |= std::count(group.begin(), group.end(), left) != 0 &&
                        std::count(group.begin(), group.end(), right) != 0;
            rig r;
            r.prim.cdmode = left == 177 ? KVRN_CD_EBCDIC : KVRN_CD_ZONE5;
            r.select({cond(left, 0, 4, right, 8, 4)});
            EXPECT_EQ(r.checked(), good ? accepted : badsel("0")) << +left << " " << +right;
        }
    run(&rig::checked,
        {
            ROW(badsel("0"), r.prim.cdmode = 236, r.select({cond(161, 4, "abcd", 4)})),
            ROW(accepted, r.prim.cdmode = 236, r.select({cond(177, 4, "abcd", 4)})),
            ROW(badsel("0"), r.prim.cdmode = 238, r.select({cond(177, 4, "abcd", 4)})),
            ROW(accepted, r.select({cond(199, 4, "abcd", 4)})),
            ROW(accepted, r.select({cond(161, 96, 4, 161, 0, 4)})),
            ROW(badsel("0"), r.select({cond(161, 97, 4, 161, 0, 4)})),
            ROW(badsel("1"), r.select({cond(161, 0, 4, 161, 0, 4), cond(161, 0, 4, 161, 97, 4)})),
            ROW(badsel("0"), r.select({cond(161, 0xFFFFFFFE, 4, 161, 0, 4)})),
        });
    struct row {
        uint8_t mode, type, kanji;
        uint32_t expected; // work length, from lengths 4 and 6
    };
    for (const row &c : {row{0, 161, 2, 8}, row{244, 161, 0, 8}, row{244, 161, 2, 12},
                         row{244, 203, 2, 72}, row{0, 223, 0, 72}, row{0, 162, 0, 8},
                         row{0, 166, 0, 8}, row{0, 197, 0, 8}, row{0, 163, 0, 8}}) {
        rig r;
        if (c.mode != 0)
            r.text(c.mode);
        KVRNSELE entry = cond(c.type, 4, "abcdef", 6);
        entry.lpos = 30;
        entry.kanjiconv = c.kanji;
        r.select({entry});
        ASSERT_EQ(r.checked(), accepted) << +c.type;
        EXPECT_EQ(r.ctx.selmaxlen, c.expected) << +c.type;
        EXPECT_EQ(r.ctx.selmaxpos, 33u);
        EXPECT_EQ(r.ctx.dbcs, c.expected == 12 ? dbcsaware : 0);
    }
}

} // namespace kvern::paramtest
