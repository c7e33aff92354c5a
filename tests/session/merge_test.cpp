// Merges through the public calls: the four drivers, by callers that follow mergestat
// and inputno only, and by callers that do not.
#include "handmade.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>

namespace kvern::test {
namespace {

using strings = std::vector<std::string>;
enum class side { caller, file };

// Records with a key of 4 bytes in front.
struct merging : handmade {
    explicit merging(char form, const std::vector<strings> &records) : inputs(records) {
        prim.function = KVRN_MERGE;
        prim.mergecnt = static_cast<uint32_t>(inputs.size());
        prim.recoprat = 0;
        if (form == 'r')
            astext(KVRN_DLMT_LF);
        if (form == 'v')
            prim.recform = KVRN_VARIABLE;
        prim.reclen = form == 'f' ? 8 : 40;
        keys.count = 1;
        keys.entry[0] = {0, 4, KVRN_CHAR, KVRN_ASCENDING, 0, 0, nullptr};
    }

    void sides(side in, side out) {
        output = out;
        if (in == side::file) {
            paths.resize(sizeof(KVRNFLST) + inputs.size() * sizeof(char *));
            auto *list = reinterpret_cast<KVRNFLST *>(paths.data());
            for (const strings &records : inputs) {
                names.push_back(std::make_unique<std::string>(
                    folder.file("in" + std::to_string(names.size()))));
                std::string data;
                for (const std::string &record : records)
                    data += record;
                writefile(*names.back(), data);
                list->path[list->count++] = names.back()->c_str();
            }
            files.infiles = list;
        }
        prim.recoprat = static_cast<uint8_t>(in == side::caller ? KVRN_PUT_RECORD : 0);
        if (out == side::file)
            files.outfile = outname.c_str();
        else
            prim.recoprat |= KVRN_GET_RECORD;
    }

    int open() {
        at.assign(inputs.size(), 0);
        return kvrnopen(version, &link, &prim, &sess, &keys, &files, &opts);
    }

    // What the merge asks for.
    void bring() {
        if (files.infiles != nullptr || sess.mergestat != KVRN_WANTS_RECORD)
            return;
        strings &records = inputs.at(sess.inputno);
        size_t &next = at[sess.inputno];
        sess.code = next < records.size() ? KVRN_RECORD : KVRN_END;
        if (sess.code == KVRN_END)
            return;
        sess.recaddr = records[next].data();
        sess.reclen = static_cast<uint32_t>(records[next].size());
        ++next;
    }

    // Up to the end or a failure: the last result.
    int run(recordcall call) {
        int result;
        do {
            bring();
            result = call(&sess);
            if (sess.outaddr != nullptr && result == 0)
                got.emplace_back(static_cast<const char *>(sess.outaddr), sess.outlen);
        } while (result == 0);
        return result;
    }

    // Opens, merges and closes; all that came out, one record after another.
    std::string all(recordcall call) {
        EXPECT_EQ(open(), 0) << sess.detail;
        if (files.infiles == nullptr || output == side::caller) {
            EXPECT_EQ(run(call), 1) << sess.detail;
        }
        EXPECT_EQ(close(), 0) << sess.detail;
        std::string out;
        for (const std::string &record : got)
            out += record;
        if (output == side::file)
            out = readfile(outname);
        return out;
    }

    tempfolder folder;
    std::vector<strings> inputs;
    std::vector<size_t> at;
    side output = side::caller;
    strings got;
    std::string outname = folder.file("out");
    KVRNKEY keys = {};
    KVRNOPT opts = {};
    std::vector<char> paths;
    std::vector<std::unique_ptr<std::string>> names;
};

// By key, then input, then place; each record tells where it is from.
std::string merged(const std::vector<strings> &inputs) {
    strings all;
    for (const strings &records : inputs)
        all.insert(all.end(), records.begin(), records.end());
    std::stable_sort(all.begin(), all.end(), [](const std::string &a, const std::string &b) {
        return a.compare(0, 4, b, 0, 4) < 0;
    });
    std::string out;
    for (const std::string &record : all)
        out += record;
    return out;
}

// `most` records an input, in order; some inputs have none.
std::vector<strings> randominputs(char form, size_t count, uint32_t most, uint32_t seed) {
    std::mt19937 engine(seed);
    const auto random = [&engine] { return static_cast<uint32_t>(engine()); };
    std::vector<strings> inputs(count);
    for (size_t input = 0; input < count; ++input) {
        const uint32_t records = random() % 3 == 0 ? 0 : random() % (most + 1);
        uint32_t key = 0;
        for (uint32_t i = 0; i < records; ++i) {
            char text[32];
            key += random() % 3 == 0 ? 0 : random() % 9;
            snprintf(text, sizeof text, "%04u%c%03u", key % 10000,
                     static_cast<char>('a' + input % 26), i % 1000);
            std::string record = text;
            if (key > 9999)
                break;
            if (form != 'f')
                record += std::string(random() % 24, '.');
            inputs[input].push_back(record + (form == 'r' ? "\n" : ""));
        }
    }
    return inputs;
}

struct drivercase {
    char form;
    side in, out;
};
constexpr side caller = side::caller;
constexpr side file = side::file;
constexpr drivercase drivers[] = {
    {'f', file, file},     {'f', file, caller}, {'f', caller, file}, {'f', caller, caller},
    {'r', file, file},     {'r', file, caller}, {'r', caller, file}, {'r', caller, caller},
    {'v', caller, caller}, // plain files hold no variable records
};

TEST(merge, all_drivers_forms_and_sizes) {
    const struct {
        size_t inputs;
        uint32_t records;
    } sizes[] = {{1, 0}, {1, 9}, {2, 1}, {3, 3000}, {8, 300}, {40, 4}, {300, 3}};
    for (const drivercase &d : drivers)
        for (const auto &size : sizes)
            for (const uint32_t memsize : {KVRN_MEM_MIN, KVRN_MEM_DEFAULT}) {
                SCOPED_TRACE(std::string(1, d.form) + (d.in == file ? " file" : " caller") +
                             (d.out == file ? " file " : " caller ") + std::to_string(size.inputs));
                if (memsize == KVRN_MEM_MIN && size.inputs > 100)
                    continue;
                const auto inputs = randominputs(d.form, size.inputs, size.records, 7 + memsize);
                merging s(d.form, inputs);
                s.prim.memsize = memsize;
                s.sides(d.in, d.out);
                EXPECT_EQ(s.all(memsize == KVRN_MEM_MIN ? kvrnmrge : qha5chkm), merged(inputs));
                EXPECT_EQ(s.sess.detail, 0U);
                if (d.out == caller) {
                    EXPECT_EQ(s.sess.getcount, s.got.size());
                    EXPECT_EQ(s.sess.outaddr, nullptr);
                }
                if (d.in == caller) {
                    EXPECT_EQ(s.sess.mergestat, KVRN_WANTS_NONE);
                }
            }
}

// Whole blocks are dropped, at the start and in between.
TEST(merge, filter) {
    KVRNSEL filter = {};
    filter.count = 1;
    filter.entry[0].op = KVRN_OP_GE;
    filter.entry[0].ltype = KVRN_CHAR;
    filter.entry[0].rtype = KVRN_FLD_LIT;
    filter.entry[0].lpos = 2;
    filter.entry[0].llen = filter.entry[0].rlen = 1;
    filter.entry[0].rlit = "8";
    filter.entry[0].iftrue = KVRN_GO_KEEP;
    filter.entry[0].iffalse = KVRN_GO_DROP;
    for (const drivercase &d : drivers) {
        auto inputs = randominputs(d.form, 4, 3000, 3);
        merging s(d.form, inputs);
        s.prim.memsize = KVRN_MEM_MIN;
        s.prim.options = KVRN_SELECT;
        s.opts.sel = &filter;
        s.sides(d.in, d.out);
        for (strings &records : inputs)
            std::erase_if(records, [](const std::string &record) { return record[2] < '8'; });
        EXPECT_EQ(s.all(qha5chkm), merged(inputs));
    }
}

// The sum goes on in the later record; the pair that overflows goes out as it came in,
// and no pair is folded after it.
TEST(merge, summation) {
    for (const drivercase &d : drivers) {
        std::vector<strings> inputs(3);
        std::string expected;
        for (uint32_t key = 0; key < 900; ++key) {
            std::string group;
            for (size_t input = key % 3; input < 3; ++input) {
                char text[16];
                snprintf(text, sizeof text, "%04u%c%s", key, static_cast<char>('a' + input),
                         key == 700 && input == 2 ? "999" : "001");
                const std::string rest = d.form == 'f' ? "" : d.form == 'v' ? "...." : ".\n";
                inputs[input].push_back(text + rest);
                group = key < 700 ? text + rest : group + text + rest;
            }
            if (key < 700)
                group[7] = static_cast<char>('3' - key % 3);
            expected += group;
        }
        merging s(d.form, inputs);
        KVRNSUM sums = {};
        sums.count = 1;
        sums.entry[0] = {5, 3, static_cast<uint8_t>(d.form == 'r' ? KVRN_CHAR : KVRN_ZONED), {}};
        s.opts.sum = &sums;
        s.prim.options = KVRN_SUM;
        s.prim.cdmode = KVRN_CD_ZONE7; // a sum above zero is of plain digits
        s.sides(d.in, d.out);
        EXPECT_EQ(s.all(qha5chkm), expected);
        EXPECT_EQ(s.sess.detail, 115U);
    }
}

// A record below the one ahead of it in its own input, wherever that stands.
TEST(merge, order_is_tested_in_each_driver) {
    const std::vector<std::vector<strings>> wrong = {
        {{"0002b000", "0001b001"}},
        {{"0001a000", "0003a001"}, {"0001b000", "0004b001", "0002b002"}},
        {{"0005a000"}, {}, {"0005c000", "0005c001", "0004c002"}},
    };
    for (const drivercase &d : drivers)
        for (const auto &inputs : wrong)
            for (const bool suppress : {false, true}) {
                merging s(d.form, inputs);
                if (d.form == 'r')
                    for (strings &records : s.inputs)
                        for (std::string &record : records)
                            record += '\n';
                s.prim.options = suppress ? KVRN_SUPPRESS : 0;
                s.sides(d.in, d.out);
                const int opened = s.open();
                const bool atonce = d.in == file && d.out == file;
                EXPECT_EQ(opened, atonce ? -1 : 0);
                if (!atonce) {
                    EXPECT_EQ(s.run(kvrnmrge), -1);
                }
                EXPECT_EQ(s.sess.detail, 114U);
                EXPECT_EQ(kvrnmrge(&s.sess), -1); // and no further
                EXPECT_EQ(s.sess.detail, 114U);
                EXPECT_EQ(s.close(), 0);
            }
}

// What a caller must not bring, by the checked calls and by the plain ones, which
// leave a wrong but existing input number to the caller.
TEST(merge, wrong_use) {
    const struct {
        const char *what;
        void (*spoil)(KVRNSESS &sess);
        char form;
        uint32_t detail, plaindetail;
    } cases[] = {
        {"other input", [](KVRNSESS &s) { s.inputno = 1; }, 'f', 103, 0},
        {"no input", [](KVRNSESS &s) { s.inputno = 2; }, 'f', 103, 103},
        {"far input", [](KVRNSESS &s) { s.inputno = 65535; }, 'v', 103, 103},
        {"code", [](KVRNSESS &s) { s.code = 18; }, 'f', 103, 103},
        {"no record", [](KVRNSESS &s) { s.recaddr = nullptr; }, 'r', 110, 110},
        {"short", [](KVRNSESS &s) { s.reclen = 7; }, 'f', 111, 111},
        {"long fixed", [](KVRNSESS &s) { s.reclen = 9; }, 'f', 111, 111},
        {"long", [](KVRNSESS &s) { s.reclen = 41; }, 'v', 111, 111},
        {"endless", [](KVRNSESS &s) { s.reclen = UINT32_MAX; }, 'r', 111, 111},
        {"no delimiter", [](KVRNSESS &s) { s.reclen = 8; }, 'r', 117, 117},
        {"nothing", [](KVRNSESS &s) { s.reclen = 0; }, 'r', 117, 117},
    };
    for (const auto &c : cases)
        for (const side out : {caller, file})
            for (const bool plain : {false, true}) {
                if (c.form == 'v' && out == file)
                    continue;
                SCOPED_TRACE(c.what);
                const std::string record = c.form == 'r' ? "0001a000\n" : "0001a000";
                merging s(c.form, {{record, record}, {record}});
                s.sides(caller, out);
                ASSERT_EQ(s.open(), 0);
                s.bring();
                c.spoil(s.sess);
                const uint32_t detail = plain ? c.plaindetail : c.detail;
                EXPECT_EQ((plain ? kvrnmrge : s.link.chkm)(&s.sess), detail != 0 ? -1 : 0);
                EXPECT_EQ(s.sess.detail, detail);
                EXPECT_EQ(s.close(), detail != 0 ? 0 : 1);
            }
    merging s('f', {{"0001a000"}, {"0001b000"}});
    s.sides(caller, caller);
    ASSERT_EQ(s.open(), 0);
    s.bring();
    s.sess.mergestat = KVRN_WANTS_NONE; // though a record is wanted
    EXPECT_EQ(kvrnmrge(&s.sess), -1);
    EXPECT_EQ(s.sess.detail, 103U);
    s.sess.mergestat = KVRN_WANTS_RECORD;
    EXPECT_EQ(s.run(kvrnmrge), 1); // the plain call goes on where it was
    EXPECT_EQ(kvrnmrge(&s.sess), -1);
    EXPECT_EQ(kvrnput(&s.sess), -1);
    EXPECT_EQ(kvrnget(&s.sess), -1);
}

// Inputs that no storage holds are refused with the set-up.
TEST(merge, too_many_inputs) {
    for (const uint32_t count : {100000U, 0x40000000U, UINT32_MAX}) {
        merging s('f', {});
        s.sides(caller, caller);
        s.prim.mergecnt = count;
        EXPECT_EQ(s.open(), -1);
        EXPECT_TRUE(s.sess.detail == 50 || s.sess.detail == 240);
        EXPECT_EQ(kvrnmrge(&s.sess), -1);
        EXPECT_EQ(s.close(), 0);
    }
}

// Folded into the later record, until a sum overflows: then no more.
TEST(merge, summation_stops_at_an_overflow) {
    KVRNSUM sum = {};
    sum.count = 1;
    sum.entry[0] = {4, 1, KVRN_UBEBIN, {}};
    const auto record = [](const char *key, int value, const char *from) {
        return key + std::string(1, static_cast<char>(value)) + from;
    };
    for (const drivercase &d : drivers) {
        if (d.form != 'f')
            continue;
        merging s('f', {{record("0001", 100, "a00"), record("0002", 1, "a01")},
                        {record("0001", 100, "b00"), record("0002", 2, "b01")},
                        {record("0000", 7, "c00"), record("0001", 100, "c01")}});
        s.prim.options = KVRN_SUM;
        s.opts.sum = &sum;
        s.sides(d.in, d.out);
        EXPECT_EQ(s.all(kvrnmrge), record("0000", 7, "c00") + record("0001", 200, "b00") +
                                       record("0001", 100, "c01") + record("0002", 1, "a01") +
                                       record("0002", 2, "b01"));
        EXPECT_EQ(s.sess.detail, 115U);
    }
}

int KVRN_CALL stopping(KVRNSESS *, void *) {
    return 1;
}

TEST(merge, stops) {
    for (const side out : {file, caller}) {
        merging s('f', {{"0001a000", "0002a001"}, {"0001b000"}});
        s.sides(caller, out);
        ASSERT_EQ(s.open(), 0);
        kvrnhook(stopping, nullptr);
        // Between callers no block moves, so nothing asks the hook.
        EXPECT_EQ(s.run(kvrnmrge), out == file ? -1 : 1);
        EXPECT_EQ(s.sess.detail, 0U);
        EXPECT_EQ(kvrnmrge(&s.sess), -1);
        EXPECT_EQ(s.sess.detail, 103U);
        EXPECT_EQ(s.close(), out == file ? 1 : 0);
    }
}

// Intended, as told in docs/interface.md.
TEST(merge, quirks) {
    for (const drivercase &d : drivers) {
        if (d.form != 'f')
            continue;
        const std::vector<strings> inputs = {
            {"0001a000", "0001a001", "0003a002"}, {"0001b000", "0002b001"}, {"0002c000"}};
        merging dropping('f', inputs); // the last of a group stays
        dropping.prim.options = KVRN_SUPPRESS;
        dropping.sides(d.in, d.out);
        EXPECT_EQ(dropping.all(kvrnmrge), "0001b0000002c0000003a002");
        merging ordered('f', inputs); // equal keys in order of reading
        ordered.prim.options = KVRN_KEEPORDER;
        ordered.sides(d.in, d.out);
        EXPECT_EQ(ordered.all(kvrnmrge), "0001a0000001b0000001a0010002c0000002b0010003a002");
    }
    merging text('r', {{"0001a\r\n", "0003a\r\n"}, {"0002b\r\n"}});
    text.prim.linedlmt = KVRN_DLMT_CRLF;
    text.sides(file, caller);
    (void)text.all(kvrnmrge); // one byte of the delimiter is counted
    EXPECT_EQ(text.got, (strings{"0001a\r", "\n0002b\r", "\n0003a\r"}));

    const std::string zero("0001\0a\n", 7); // a zero byte ends no line
    merging zeros('r', {{zero}, {zero, "0002\n"}});
    zeros.sides(file, caller);
    (void)zeros.all(kvrnmrge);
    EXPECT_EQ(zeros.got, (strings{zero, zero, "0002\n"}));
}

} // namespace
} // namespace kvern::test
