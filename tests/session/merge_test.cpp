// Merges through the public calls: the four drivers, by callers that follow mergestat
// and inputno only, and by callers that do not.
#include "handmade.h"
#include "model/model.h"
#include "support/modelcheck.h"

namespace kvern::test {
namespace {

enum side { caller, disk };
struct drivercase {
    char form;
    side in, out;
};
constexpr drivercase drivers[] = {
    {'f', disk, disk},     {'f', disk, caller}, {'f', caller, disk}, {'f', caller, caller},
    {'r', disk, disk},     {'r', disk, caller}, {'r', caller, disk}, {'r', caller, caller},
    {'v', caller, caller}, // plain files hold no variable records
};

sessionspec specof(const drivercase &d) {
    sessionspec spec;
    spec.function = KVRN_MERGE;
    spec.form = d.form;
    spec.fieldmode = d.form == 'r' ? KVRN_COLUMNS : 0;
    spec.linedlmt = KVRN_DLMT_LF;
    spec.reclen = d.form == 'f' ? 8 : 40;
    spec.keys = {{0, 4}};
    spec.input = d.in == disk ? exchange::plainfile : exchange::record;
    spec.output = d.out == disk ? exchange::plainfile : exchange::record;
    return spec;
}

// Many inputs and long ones, some without a record; of some merges whole blocks are
// dropped, at the start and in between.
TEST(merge, drivers_forms_and_sizes) {
    const struct {
        size_t inputs;
        uint32_t records, memsize;
    } sizes[] = {{1, 0, KVRN_MEM_MIN}, {2, 1, 0},   {3, 1500, KVRN_MEM_MIN},
                 {3, 500, 0},          {8, 300, 0}, {40, 4, KVRN_MEM_MIN},
                 {300, 3, 0}};
    randomness r(7);
    for (const drivercase &d : drivers)
        for (const auto &size : sizes) {
            sessionspec spec = specof(d);
            spec.memsize = size.memsize;
            spec.inputs.resize(size.inputs);
            for (auto &records : spec.inputs)
                for (uint32_t left = r.onein(3) ? 0 : r.below(size.records + 1); left > 0; --left) {
                    bytes record = std::to_string(10000 + r.below(10000)).substr(1) +
                                   std::to_string(1000 + left % 1000);
                    record.resize(d.form == 'f' ? 8 : r.between(8, 32), '.');
                    records.push_back(record);
                }
            orderinputs(spec);
            EXPECT_EQ(faultof(spec), "") << describe(spec);
            condition &late = spec.conditions.emplace_back();
            late.op = KVRN_OP_GE;
            late.rtype = KVRN_FLD_LIT;
            late.lpos = 2;
            late.llen = late.rlen = 1;
            late.literal = "8";
            EXPECT_EQ(faultof(spec), "") << describe(spec);
        }
}

// A zero byte ends no line.
TEST(merge, zero_bytes) {
    sessionspec spec = specof({'r', disk, caller});
    const bytes zero("0001\0a", 6);
    spec.inputs = {{zero}, {zero, "0002"}};
    EXPECT_EQ(faultof(spec), "");
}

// Records from the caller, with a key of 4 bytes in front.
struct merging : handmade {
    merging(const drivercase &d, const std::vector<strings> &records) : inputs(records) {
        prim.function = KVRN_MERGE;
        prim.mergecnt = static_cast<uint32_t>(inputs.size());
        prim.reclen = d.form == 'f' ? 8 : 40;
        if (d.form == 'r')
            astext(KVRN_DLMT_LF);
        if (d.form == 'v')
            prim.recform = KVRN_VARIABLE;
        key(0, 4);
        if (d.out == disk)
            outfile(file("out"));
    }

    // What the merge asks for.
    void bring() {
        if (sess.mergestat != KVRN_WANTS_RECORD)
            return;
        size_t &next = at[sess.inputno];
        if (next < inputs[sess.inputno].size())
            give(inputs[sess.inputno][next++]);
        else
            sess.code = KVRN_END;
    }

    // Up to the end or a failure: the last result.
    int run() {
        int result;
        do {
            bring();
            result = kvrnmrge(&sess);
        } while (result == 0);
        return result;
    }

    std::vector<strings> inputs;
    std::vector<size_t> at = std::vector<size_t>(inputs.size());
};

// What a caller must not bring, by the checked calls and by the plain ones, which
// leave a wrong but existing input number to the caller.
TEST(merge, wrong_use) {
    const struct {
        const char *what;
        void (*spoil)(KVRNSESS &sess);
        char form;
        uint32_t detail;
        bool plainsees = true;
    } cases[] = {
        {"other input", [](KVRNSESS &s) { s.inputno = 1; }, 'f', 103, false},
        {"no input", [](KVRNSESS &s) { s.inputno = 2; }, 'f', 103},
        {"far input", [](KVRNSESS &s) { s.inputno = 65535; }, 'v', 103},
        {"code", [](KVRNSESS &s) { s.code = 18; }, 'f', 103},
        {"no record", [](KVRNSESS &s) { s.recaddr = nullptr; }, 'r', 110},
        {"short", [](KVRNSESS &s) { s.reclen = 7; }, 'f', 111},
        {"long fixed", [](KVRNSESS &s) { s.reclen = 9; }, 'f', 111},
        {"long", [](KVRNSESS &s) { s.reclen = 41; }, 'v', 111},
        {"endless", [](KVRNSESS &s) { s.reclen = UINT32_MAX; }, 'r', 111},
        {"no delimiter", [](KVRNSESS &s) { s.reclen = 8; }, 'r', 117},
        {"nothing", [](KVRNSESS &s) { s.reclen = 0; }, 'r', 117},
    };
    for (const auto &c : cases)
        for (const drivercase &d : drivers)
            for (const bool plain : {false, true}) {
                if (d.form != c.form || d.in == disk)
                    continue;
                SCOPED_TRACE(c.what);
                const std::string record = c.form == 'r' ? "0001a000\n" : "0001a000";
                merging s(d, {{record, record}, {record}});
                ASSERT_EQ(s.open(), 0);
                s.bring();
                c.spoil(s.sess);
                const bool seen = !plain || c.plainsees;
                EXPECT_EQ((plain ? kvrnmrge : s.link.chkm)(&s.sess), seen ? -1 : 0);
                EXPECT_EQ(s.sess.detail, seen ? c.detail : 0);
                EXPECT_EQ(s.close(), seen ? 0 : 1);
            }
}

TEST(merge, plain_call_goes_on_where_it_was) {
    merging s({'f', caller, caller}, {{"0001a000"}, {"0001b000"}});
    ASSERT_EQ(s.open(), 0);
    s.bring();
    s.sess.mergestat = KVRN_WANTS_NONE; // though a record is wanted
    EXPECT_EQ(kvrnmrge(&s.sess), -1);
    EXPECT_EQ(s.sess.detail, 103U);
    s.sess.mergestat = KVRN_WANTS_RECORD;
    EXPECT_EQ(s.run(), 1);
    for (const auto call : {kvrnmrge, kvrnput, kvrnget})
        EXPECT_EQ(call(&s.sess), -1);
}

// Inputs that no storage holds are refused with the set-up.
TEST(merge, too_many_inputs) {
    for (const uint32_t count : {100000U, 0x40000000U, UINT32_MAX}) {
        merging s({'f', caller, caller}, {});
        s.prim.mergecnt = count;
        EXPECT_EQ(s.open(), -1);
        EXPECT_TRUE(s.sess.detail == 50 || s.sess.detail == 240);
        EXPECT_EQ(kvrnmrge(&s.sess), -1);
        EXPECT_EQ(s.close(), 0);
    }
}

int KVRN_CALL stopping(KVRNSESS *, void *) {
    return 1;
}

TEST(merge, stops) {
    for (const side out : {disk, caller}) {
        merging s({'f', caller, out}, {{"0001a000", "0002a001"}, {"0001b000"}});
        ASSERT_EQ(s.open(), 0);
        kvrnhook(stopping, nullptr);
        // Between callers no block moves, so nothing asks the hook.
        EXPECT_EQ(s.run(), out == disk ? -1 : 1);
        EXPECT_EQ(s.sess.detail, 0U);
        EXPECT_EQ(kvrnmrge(&s.sess), -1);
        EXPECT_EQ(s.sess.detail, 103U);
        EXPECT_EQ(s.close(), out == disk ? 1 : 0);
    }
}

} // namespace
} // namespace kvern::test
