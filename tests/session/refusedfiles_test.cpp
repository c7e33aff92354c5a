// The files of a session: their kinds, their forms, which may be one and the same, and
// storage for all of it.
#include "refusal.h"

namespace kvern::test {
namespace {

TEST(refusal, files) {
    static KVRNOKEY lying = {0, toomany, {}};
    static KVRNFTYP unknown = {1, {4}}, indexed = {1, {KVRN_FILE_INDEXED}};
    run({
        ROW(badfiles, r.fromfiles({"", ""}), r.files.infiles->path[1] = nullptr),
        ROW(silent, r.fromfiles({""}), r.files.intypes = &unknown),
        ROW(badfiles, r.output("o", 4)), // no input to imitate
        ROW(accepted, r.fromfiles({""}), r.output("o", 4)),
        ROW(accepted, r.fromfiles({""}), r.workplaces({"a"}), r.files.workfiles->count = 0),
        ROW(noroom, r.fromfiles({""}), r.files.infiles->count = toomany),
        ROW(noroom, r.workplaces({"a"}), r.files.workfiles->count = toomany),
        ROW(noroom, r.fromfiles({""}), r.output("o", 18), r.files.outkey = &lying),
        ROW("32:290 ", r.infile(r.file("none")), r.files.intypes = &indexed),
        ROW("35:200 in0", r.fromfiles({""}), r.files.intypes = &indexed),
        ROW(badprim, r.prim.reclen = 0), // record calls
        ROW(nolength, r.twofiles('s', "in0"), r.prim.reclen = 0),
        ROW(badformat + "in1", r.twofiles('s'), r.prim.recform = 'v'),
        ROW(badformat + "out", r.prim.recform = 'v', r.output("out")),
        ROW(badformat, r.prim.recform = 'v', r.prim.fileoprat = KVRN_STDOUT),
        ROW(badformat + "stdin", r.prim.recform = 'v', r.prim.fileoprat = KVRN_STDIN),
        ROW(samefile, r.twofiles('s', "./in1")),
        ROW(samefile, r.twofiles('m', "./in1"), r.prim.mergecnt = 0), // before the count
        ROW(samefile, r.twofiles('c', "./in1"), r.prim.fileoprat = KVRN_SAMEFILE),
        ROW(accepted, r.twofiles('s', "./in1"), r.prim.fileoprat = KVRN_SAMEFILE),
        ROW(accepted, r.twofiles('s', "./in1"), r.prim.fileoprat = KVRN_STDOUT),
        ROW(badprim, r.twofiles('m'), r.prim.fileoprat = KVRN_SAMEFILE),
        ROW(accepted, r.version = L0, r.twofiles('m'), r.prim.fileoprat = KVRN_SAMEFILE),
    });
    session zero; // level 0 reads one byte otherwise, and hears what it means
    zero.version = L0;
    zero.prim.fileoprat = 1;
    zero.prim.recoprat = 225;
    ASSERT_EQ(zero.opened(), accepted);
    EXPECT_EQ(zero.prim.fileoprat, 19);
    EXPECT_EQ(zero.prim.recoprat, 3);
}

// Lengths at the borders of what a session can hold, and sums of lengths that leave 32 bits.
TEST(refusal, storage) {
    constexpr uint32_t most = KVRN_MEM_MAX, least = KVRN_MEM_MIN, half = 0x80000000;
    run({
        ROW(accepted, r.form(32716, most)),
        ROW(nosetup, r.form(32717, most)),
        ROW(accepted, r.form(16357, most), r.text(244)),
        ROW(nosetup, r.form(16358, most), r.text(244)),
        ROW(nosetup, r.form(toomany, most), r.prim.recform = 'v'),
        ROW(noroom, r.form(toomany, least), r.piece(0, 4), r.key(0, 4)),
        ROW(noroom, r.form(30000, least), r.key(0, 4)),
        // A place far away is a gap beyond any record.
        ROW(nosetup, r.key(0, 4), r.sum(0x10000000, 4, KVRN_ZONED)),
        ROW(nosetup, r.piece(0, toomany), r.piece(0, toomany)),
        ROW(nosetup, r.text(243), r.key(0, half, KVRN_CHAR, KVRN_ASCENDING, 2)),
        ROW(noroom, r.text(243), r.key(toomany, 4)),
        // Inputs of a merge that no storage holds.
        ROW(nosetup, r.prim.function = 'm', r.prim.mergecnt = 100000),
        ROW(noroom, r.prim.function = 'm', r.prim.mergecnt = toomany),
    });
}

} // namespace
} // namespace kvern::test
