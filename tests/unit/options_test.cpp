// KVRNPRIM and KVRNFILE: what is refused, in which order, and what is stored.
#include "unit/analysis_rig.h"

#include "file/fmgrapi.h"
#include "file/fmgrlibrary.h"
#include "param/levels.h"
#include "session/arena.h"

namespace kvern::paramtest {

TEST_F(analysis, levels) {
    const std::pair<uint32_t, int> words[] = {{0x01100000, 0},  {0x0110FFFF, 0}, {0x10100000, 1},
                                              {0x1010FFFF, 1},  {0x11100000, 2}, {0x1110FFFF, 2},
                                              {0x11200000, 3},  {0x1120FFFF, 3}, {0x11300000, 4},
                                              {0x11300001, -1}, {0, -1},         {0x010FFFFF, -1}};
    for (const auto &[word, level] : words)
        EXPECT_EQ(levelof(word), level) << std::hex << word;
    rig outside;
    outside.version(0x11300001);
    EXPECT_EQ(outside.analysed(), (verdict{-1, 0, KVRN_D_VERSION, ""}));
}

TEST_F(analysis, option_bytes) {
    using values = std::vector<int>;
    constexpr auto file = &KVRNPRIM::fileoprat, rec = &KVRNPRIM::recoprat;
    constexpr auto code = &KVRNPRIM::cdmode, alt = &KVRNPRIM::altmode;
    constexpr auto dlmt = &KVRNPRIM::linedlmt, mode = &KVRNPRIM::fieldmode;
    constexpr uint32_t L4 = KVRN_VERSION_L4;
    const struct {
        uint8_t KVRNPRIM::*byte;
        const char *field;
        uint32_t version;
        values good, bad;
    } rows[] = {
        {&KVRNPRIM::function, "function", L4, {'s', 'm', 'c'}, {0, 'S', 255}},
        {&KVRNPRIM::recform, "recform", L4, {'f', 'v'}, {0, 'r', 'F'}},
        {file, "fileoprat", L4, {0, 19, 51, 33, 72, 96}, {1, 2, 3, 16, 18, 8, 128}},
        {file, "fileoprat", L0, {0, 1, 9, 19}, {2, 16, 18}},
        {rec, "recoprat", L4, {0, 1, 2, 3, 4, 6, 8, 9, 12, 225}, {5, 7, 10, 11, 13, 224, 255}},
        {rec, "recoprat", L0, {0, 1, 2, 3, 6, 9, 12, 225}, {4, 8, 5}},
        {code, "cdmode", L4, {0, 236, 237, 238, 239}, {1, 235, 240}},
        {code, "cdmode", L3, {0, 237, 239}, {236}},
        {code, "cdmode", L0, {236, 1}, {}}, // not read
        {alt, "altmode", L4, {0, 1, 2}, {3, 255}},
        {alt, "altmode", L3, {3}, {}},
        {dlmt, "linedlmt", L1, {0, 1, 2, 3}, {4, 255}},
        {dlmt, "linedlmt", L0, {4}, {}},
        {dlmt, "linedlmt", L2old, {4}, {}},
        {&KVRNPRIM::keyoption2, "linedlmt", L2old, {0, 1, 2, 3}, {4}},
        {mode, "fieldmode", L4, {0, 243, 244}, {1, 242, 245}},
        {mode, "fieldmode", L0, {1, 243}, {}},
    };
    for (const auto &c : rows)
        for (const bool fine : {true, false})
            for (const int value : fine ? c.good : c.bad) {
                rig r;
                r.version(c.version);
                r.prim.recform = 'v';
                r.prim.*c.byte = static_cast<uint8_t>(value);
                EXPECT_EQ(r.analysed(), fine ? accepted : badprim(c.field))
                    << c.field << " " << value;
            }
}

TEST_F(analysis, first_faulty_option_is_told) {
    // Each line adds a fault that stands before those above it.
    const std::pair<const char *, void (*)(KVRNPRIM &)> faults[] = {
        {"recform", [](KVRNPRIM &p) { p.fieldmode = 243; }}, // text asked for with 'f'
        {"fieldmode", [](KVRNPRIM &p) { p.fieldmode = 1; }},
        {"linedlmt", [](KVRNPRIM &p) { p.separator = "a\r\nb"; }},
        {"altmode", [](KVRNPRIM &p) { p.altmode = 3; }},
        {"cdmode", [](KVRNPRIM &p) { p.cdmode = 1; }},
        {"keyoption", [](KVRNPRIM &p) { p.keyoption2 = 2, p.keyoption = 16; }},
        {"recoprat", [](KVRNPRIM &p) { p.recoprat = 5; }},
        {"fileoprat", [](KVRNPRIM &p) { p.fileoprat = 1; }},
        {"recform", [](KVRNPRIM &p) { p.recform = 'r'; }},
        {"function", [](KVRNPRIM &p) { p.function = 0; }},
    };
    KVRNPRIM together = rig().prim;
    for (const auto &[field, add] : faults) {
        add(together);
        rig r;
        r.prim = together;
        EXPECT_EQ(r.analysed(), badprim(field));
    }
}

TEST_F(analysis, options_together_and_files) {
    const verdict badfiles = refused(15, KVRN_D_FILEBLOCK);
    run(&rig::analysed,
        {
            ROW(badprim("cdmode"), r.text(243), r.prim.cdmode = 236),
            ROW(accepted, r.version(L1), r.prim.keyoption2 = 2, r.prim.keyoption = 16),
            ROW(accepted, r.prim.separator = "\n\r"), // not the whole delimiter
            ROW(badprim("linedlmt"), r.prim.linedlmt = 1, r.prim.separator = "ab\n"),
            ROW(accepted, r.version(L0), r.prim.separator = "\r\n"),
            ROW(shortarena, r.arena(8), r.prim.separator = "12345678"),
            ROW(badfiles, r.inputs({"a", nullptr})),
            ROW(silent, r.inputs({"a", nullptr}), r.kinds({4})), // the kind before the path
            ROW(badfiles, r.output("o", 4)),                     // no input to imitate
            ROW(accepted, r.inputs({"a"}), r.output("o", 4)),
            ROW(accepted, r.inputs({}), r.files.workfiles = r.paths({})),
            ROW(shortarena, r.inputs({"a"}, toomany)),
            ROW(shortarena, r.files.workfiles = r.paths({"a"}, toomany)),
            ROW(shortarena, r.output("o", 18),
                r.files.outkey = r.table<KVRNOKEY, KVRNOKEYE>({}, toomany)),
        });
}

TEST_F(analysis, options_and_files_stored) {
    rig zero; // level 0 reads one byte otherwise, and leaves the caller the meaning
    zero.version(L0);
    zero.prim.fileoprat = 1;
    zero.prim.recoprat = 225;
    zero.prim.options = 255 & ~KVRN_SUM;
    zero.prim.tmpopt = 1;
    ASSERT_EQ(zero.analysed(), accepted);
    EXPECT_EQ(zero.prim.fileoprat, 19);
    EXPECT_EQ(zero.prim.recoprat, 3);
    EXPECT_EQ(zero.ctx.samefile + zero.ctx.keeporder + zero.ctx.suppressopt + zero.ctx.msgprint, 4);
    EXPECT_EQ(zero.ctx.selectopt + zero.ctx.reconopt + zero.ctx.descall + zero.ctx.tmpoption, 0);

    rig r;
    r.inputs({"a", "b", "c"});
    r.kinds({2, 19});
    r.output("o", 77);
    r.files.workfiles = r.paths({"w0", nullptr, "w2"});
    ASSERT_EQ(r.analysed(), accepted);
    for (uint32_t i = 0; i < 3; i++) { // behind the list: as its last, without a library
        EXPECT_EQ(r.ctx.infiles[i]->kind, i == 0 ? 2 : 19);
        EXPECT_EQ(r.ctx.infiles[i]->libname != nullptr, i < 2);
    }
    EXPECT_EQ(r.ctx.outfile->kind, 2); // imitates the first
    EXPECT_STREQ(r.ctx.outfile->libname, "m7hxfmg.dll");
    EXPECT_EQ(r.ctx.usefilemgr * 100 + r.ctx.usefilemgr19 * 10 + r.ctx.useindexed, 110);
    EXPECT_EQ(r.ctx.workkind, 'p');
    EXPECT_EQ(r.ctx.workpaths[1], nullptr);
    // The manager asks for room for seven tables, its message and a list of the files;
    // none of these here names its library, so none is loaded.
    const auto fmgrroom = static_cast<uint32_t>(7 * sizeof(fmgrtable) + arenaround(2052));
    const uint32_t listroom = 4 * sizeof(filectl *);
    for (filectl *file : {r.ctx.infiles[0], r.ctx.infiles[1], r.ctx.outfile})
        file->libname = nullptr;
    for (const uint32_t missing : {0u, 1u}) {
        r.ctx.arenafree = fmgrroom + listroom - missing;
        EXPECT_EQ(fmgrstart(&r.ctx), missing != 0 ? -1 : 0);
        EXPECT_EQ(r.ctx.lastmsg, missing != 0 ? 23u : 0u);
        EXPECT_EQ(r.ctx.arenafree, listroom - missing);
    }

    rig streams; // the lists and the path are not read
    streams.inputs({nullptr, nullptr});
    streams.kinds({4});
    streams.prim.fileoprat = KVRN_STDIN | KVRN_STDOUT;
    streams.files.outtype = 18;
    ASSERT_EQ(streams.analysed(), accepted);
    EXPECT_EQ(streams.ctx.filecount, 1u);
    EXPECT_EQ(streams.ctx.infiles[0]->kind + streams.ctx.outfile->kind, 2);

    rig alone; // no list of kinds that could bring the library's name
    alone.output("o", 19);
    ASSERT_EQ(alone.analysed(), accepted);
    EXPECT_STREQ(alone.ctx.outfile->libname, "m7hxfmg.dll");
}

} // namespace kvern::paramtest
