// Every operation on the system fails once, in every kind of session: the result
// is right, or a detail code says why; nothing is left open, held or on disk, and
// no record is lost in silence.
#include "fault/faulty_platform.h"
#include "model/model.h"
#include "support/sessionrunner.h"

#include <gtest/gtest.h>

#include <random>

namespace kvern::test {

namespace {

constexpr uint32_t record_length = 100;

// Under Wine a session takes some twenty times as long as natively: there every
// seventh of the cases is run.
#ifdef _WIN32
constexpr uint64_t case_step = 7;
#else
constexpr uint64_t case_step = 1;
#endif

// `count` records of the form; random keys in the first ten bytes.
sessionspec session(char form, exchange input, exchange output, uint32_t count) {
    sessionspec spec;
    spec.form = form;
    spec.fieldmode = form == 'r' ? KVRN_COLUMNS : 0;
    spec.linedlmt = KVRN_DLMT_LF;
    spec.reclen = record_length;
    spec.memsize = KVRN_MEM_MIN;
    spec.input = input;
    spec.output = output;
    keyspec key;
    key.length = 10;
    spec.keys.push_back(key);
    std::mt19937 random(count);
    std::vector<bytes> records;
    for (uint32_t i = 0; i < count; ++i) {
        bytes data(form == 'f' ? record_length : 40 + random() % 50, 'x');
        for (size_t at = 0; at < 10; ++at)
            data[at] = static_cast<char>('a' + random() % 20);
        records.push_back(data);
    }
    spec.inputs.push_back(records);
    return spec;
}

struct scenario {
    const char *name;
    sessionspec spec;
};

std::vector<scenario> scenarios() {
    constexpr auto file = exchange::plainfile;
    constexpr auto descr = exchange::descriptorfile;
    constexpr auto call = exchange::record;
    constexpr uint32_t fits = 60, overflows = 1500;
    return {
        {"fixed, in core, files", session('f', file, file, fits)},
        {"text, in core, descriptors", session('r', descr, descr, fits)},
        {"fixed, external, files", session('f', file, file, overflows)},
        {"variable, external, calls", session('v', call, call, overflows)},
        {"text, external, files", session('r', file, file, overflows)},
    };
}

// Files beside the input and the output.
size_t strayfiles(const sessionspec &spec, const tempfolder &folder) {
    const size_t own = (spec.filein() ? spec.inputs.size() : 0) + (spec.fileout() ? 1 : 0);
    return folder.entries() > own ? folder.entries() - own : 0;
}

// Runs the session under a plan; empty: as it must be.
std::string outcome(const sessionspec &spec, const modelresult &expected, const faultplan &plan) {
    const tempfolder folder;
    const int64_t before = held();
    arm(plan);
    const runresult got = run(spec, folder);
    arm({});
    if (held() != before)
        return "something stays open or allocated";
    if (strayfiles(spec, folder) != 0)
        return "a temporary file stays";
    const bool ofmemory = got.detail == KVRN_D_CONTEXT || got.detail == KVRN_D_WORKAREA;
    if (got.detail != 0)
        return got.syscode != 0 || ofmemory ? "" : "no system code behind a detail";
    if (!got.failed.empty())
        return "fails without a detail code: " + got.failed;
    return difference(spec, expected, got.records);
}

uint64_t countoperations(const sessionspec &spec, fault kind) {
    const tempfolder folder;
    arm({0, 0, kind});
    const runresult got = run(spec, folder);
    EXPECT_EQ(got.detail, 0U) << got.failed;
    return operations();
}

void fail_each(fault kind, bool stays) {
    for (const scenario &each : scenarios()) {
        SCOPED_TRACE(each.name);
        const modelresult expected = outcomeof(each.spec);
        const uint64_t total = countoperations(each.spec, kind);
        ASSERT_GT(total, 0U);
        for (uint64_t at = 1; at <= total; at += case_step) {
            const std::string wrong =
                outcome(each.spec, expected, {at, stays ? UINT64_MAX : at, kind});
            ASSERT_EQ(wrong, "") << "operation " << at << " of " << total;
        }
    }
}

struct countdown {
    uint64_t left;
    uint64_t rounds;
};
int KVRN_CALL stopatzero(KVRNSESS *, void *arg) {
    auto *count = static_cast<countdown *>(arg);
    ++count->rounds;
    return count->left != 0 && --count->left == 0 ? 1 : 0;
}

} // namespace

TEST(fault, each_operation_fails_once) {
    fail_each(fault::error, false);
}
TEST(fault, each_operation_fails_and_all_after_it) {
    fail_each(fault::error, true);
}
TEST(fault, disk_fills_at_each_write) {
    fail_each(fault::diskfull, false);
    fail_each(fault::diskfull, true);
}
TEST(fault, each_write_is_torn) {
    fail_each(fault::torn, false);
}

TEST(fault, a_stop_in_each_pump_round) {
    constexpr uint64_t startup = 1000; // rounds of the start-up pump, all alike
    for (const scenario &each : scenarios()) {
        SCOPED_TRACE(each.name);
        countdown all{0, 0};
        kvrnhook(stopatzero, &all);
        {
            const tempfolder folder;
            ASSERT_EQ(run(each.spec, folder).failed, "");
        }
        for (uint64_t at = 1; at <= all.rounds; at += at < startup - 1 ? 333 : case_step) {
            countdown count{at, 0};
            kvrnhook(stopatzero, &count);
            const tempfolder folder;
            const int64_t before = held();
            const runresult got = run(each.spec, folder);
            EXPECT_NE(got.failed, "") << "round " << at;
            EXPECT_EQ(got.detail, 0U) << "a stop is no failure, round " << at;
            ASSERT_EQ(held(), before) << "round " << at;
            ASSERT_EQ(strayfiles(each.spec, folder), 0U) << "round " << at;
        }
    }
    kvrnhook(nullptr, nullptr);
}

} // namespace kvern::test
