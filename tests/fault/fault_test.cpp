// Every operation on the system fails, in every kind of session and in every way: the
// records that come out are right, or a detail code says why there are none, and no call
// claims a good end; nothing is left open, held or on disk.
#include "fuzz/memory_platform.h"
#include "model/model.h"
#include "session/handmade.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace kvern::test {

namespace {

// Under Wine a session takes several times as long as natively.
constexpr uint32_t case_step = sizeof(void *) == 4 ? 3 : 1;
constexpr uint32_t roomy = 1U << 30;
// Names of work directories take working storage, twenty times: with these 64 KB are as
// little as a third of that, and a small sort spills.
constexpr uint32_t namelength = sizeof(void *) == 4 ? 1050 : 950;
constexpr uint32_t storage = 18000; // that is left for records then

struct scenario {
    uint8_t function = KVRN_SORT;
    char form = 'f';
    exchange input = exchange::plainfile, output = exchange::plainfile;
    uint32_t inputs = 1, records = 60; // of each input
    uint32_t keylength = 10, reclen = 100;
    bool suppress = false;
    char places = 'd';      // work directories, 'p' paths, 'S' the system's; capitals: Windows'
    uint32_t room = roomy;  // in each of the first two directories of three
    uint32_t tempfiles = 0; // what it is there for
};

constexpr auto descr = exchange::descriptorfile;
constexpr auto call = exchange::record;

// What goes to temporary files has strings enough to spill, keys long enough to crowd the
// list of WBs to come, or directories too small for it.
constexpr scenario scenarios[] = {
    {}, // in core, from file to file
    {.form = 'r', .input = descr, .output = descr},
    {.records = 1500, .tempfiles = 1},
    {.input = call,
     .output = call,
     .records = 1200,
     .keylength = 300,
     .reclen = 300,
     .places = 'D',
     .room = 100000,
     .tempfiles = 3},
    {.form = 'v', .input = call, .output = call, .records = 1300, .suppress = true, .tempfiles = 1},
    {.form = 'r', .output = call, .inputs = 2, .records = 700, .room = 50000, .tempfiles = 3},
    {.input = call, .output = descr, .records = 700, .places = 'p', .room = 12000, .tempfiles = 3},
    {.form = 'r', .input = descr, .output = call, .records = 700, .places = 'S', .tempfiles = 1},
    {.function = KVRN_MERGE, .inputs = 3, .records = 200},
    {.function = KVRN_MERGE, .form = 'v', .input = call, .output = call, .inputs = 3},
    {.function = KVRN_MERGE, .form = 'r', .output = call, .inputs = 2, .records = 200},
    {.function = KVRN_MERGE, .form = 'r', .input = call, .output = descr, .inputs = 3},
    {.function = KVRN_COPY, .inputs = 2, .records = 400},
    {.function = KVRN_COPY, .form = 'r', .input = descr, .inputs = 2, .records = 400},
};

// Runs that rise over about as many records as the storage holds, each just below the one
// before it: the strings are as short as can be and overlap from end to end.
bytes recordof(const scenario &what, uint32_t number, std::mt19937 &random) {
    const uint32_t shortest = what.reclen * 3 / 4;
    bytes data(what.form == 'f' ? what.reclen : shortest + random() % (what.reclen - shortest),
               'x');
    const uint32_t run = storage / what.reclen;
    data[0] = static_cast<char>('a' + number % run / 26);
    data[1] = static_cast<char>('a' + number % run % 26);
    data[2] = static_cast<char>('z' - number / run);
    for (size_t at = 3; at < 10; ++at)
        data[at] = static_cast<char>('a' + random() % 20);
    return data;
}

sessionspec specof(const scenario &what) {
    sessionspec spec;
    spec.function = what.function;
    spec.form = what.form;
    spec.fieldmode = what.form == 'r' ? KVRN_COLUMNS : 0;
    spec.linedlmt = KVRN_DLMT_LF;
    spec.reclen = what.reclen;
    spec.memsize = KVRN_MEM_MIN;
    spec.input = what.input;
    spec.output = what.output;
    spec.suppress = what.suppress;
    if (what.function != KVRN_COPY) {
        spec.keys.emplace_back();
        spec.keys.back().length = what.keylength;
    }
    std::mt19937 random(what.records);
    for (uint32_t i = 0; i < what.inputs; ++i) {
        std::vector<bytes> records;
        for (uint32_t at = 0; at < what.records; ++at)
            records.push_back(recordof(what, at, random));
        spec.inputs.push_back(records);
    }
    if (what.function == KVRN_MERGE)
        orderinputs(spec);
    return spec;
}

std::vector<std::string> placesof(char kind) {
    const std::string slashes(namelength, '/');
    if (kind == 'S')
        return {};
    if (kind == 'p') // every second one is used
        return {"da/1", "da/2", "db/3", "db/4", "dc/5"};
    return {"da" + slashes, "db" + slashes, "dc" + slashes};
}

class faults : public ::testing::TestWithParam<scenario> {
  protected:
    const scenario &what = GetParam();
    const sessionspec spec = specof(what);
    std::vector<bytes> expected{};

    [[nodiscard]] memoryplan plan(fault how, uint32_t first, uint32_t last) const {
        return {.grant = maxgrant,
                .capacity = {what.room, what.room, roomy},
                .how = how,
                .failat = first,
                .failto = last,
                .deletesbyname = what.places < 'a'};
    }

    // The hook is a word of the platform's, which begins anew with each session.
    [[nodiscard]] runresult play(const memoryplan &by,
                                 int(KVRN_CALL *hook)(KVRNSESS *, void *) = nullptr,
                                 void *arg = nullptr) const {
        const memorydisk disk(by, placesof(what.places));
        kvrnhook(hook, arg);
        return run(spec, disk);
    }

    // What holds at every end; empty: all is well.
    [[nodiscard]] std::string leftovers(const runresult &got) const {
        const platformstate state = held();
        const size_t files = (spec.filein() ? spec.inputs.size() : 0) + (spec.fileout() ? 1 : 0);
        if (state.memory != 0 || state.handles != 0)
            return "something stays open or allocated";
        if (state.files > files)
            return "a temporary file stays";
        if (!got.pretends.empty())
            return got.pretends + " succeeds after a failure";
        const bool right = got.records.size() <= expected.size() &&
                           std::equal(got.records.begin(), got.records.end(), expected.begin());
        return right ? "" : "wrong records";
    }

    [[nodiscard]] std::string outcome(fault how, uint32_t first, uint32_t last) const {
        const runresult got = play(plan(how, first, last));
        if (const std::string wrong = leftovers(got); !wrong.empty())
            return wrong;
        const bool ofmemory = got.detail == KVRN_D_CONTEXT || got.detail == KVRN_D_WORKAREA;
        if (got.detail != 0 && how == fault::interrupted)
            return "an interruption is no failure: " + got.failed;
        const bool coded = how != fault::cut && !ofmemory && got.failed.rfind("kvrnclse", 0) != 0;
        if (got.detail != 0)
            return got.counters.syscode != 0 || !coded ? "" : "no system code behind a detail";
        if (!got.failed.empty())
            return "fails without a detail code: " + got.failed;
        return got.records.size() == expected.size() ? "" : "records are missing";
    }

    // All goes well, so that the rest of the walk has something to compare with.
    void SetUp() override {
        const runresult got = play(plan(fault::device, 0, 0));
        ASSERT_EQ(got.failed, "");
        ASSERT_EQ(difference(spec, outcomeof(spec), got.records), "");
        expected = got.records;
        ASSERT_EQ(leftovers(got), "");
        EXPECT_GE(got.counters.spills, what.keylength < what.reclen ? 0U : 30U);
        EXPECT_EQ(got.counters.tempfiles, what.tempfiles);
    }

    [[nodiscard]] uint32_t operations(fault how) const {
        (void)play(plan(how, 0, 0));
        return held().operations;
    }
};

struct countdown {
    uint32_t left, rounds;
};
int KVRN_CALL stopatzero(KVRNSESS *, void *arg) {
    auto *count = static_cast<countdown *>(arg);
    ++count->rounds;
    return count->left != 0 && --count->left == 0 ? 1 : 0;
}

} // namespace

TEST_P(faults, each_operation) {
    constexpr struct {
        const char *what;
        fault how;
        bool forgood;
    } walks[] = {
        {"the device fails", fault::device, true},
        {"the disk is full", fault::full, true},
        {"torn", fault::torn, false},
        {"torn by a full disk", fault::tornfull, false},
        {"short", fault::cut, true},
        {"interrupted", fault::interrupted, false},
    };
    for (const auto &walk : walks) {
        const uint32_t total = operations(walk.how);
        for (const bool forgood : {false, true})
            for (uint32_t at = 1; (walk.forgood || !forgood) && at <= total; at += case_step)
                ASSERT_EQ(outcome(walk.how, at, forgood ? total : at), "")
                    << walk.what << (forgood ? " from operation " : " at operation ") << at;
    }
}

TEST_P(faults, a_stop_in_each_pump_round) {
    constexpr uint32_t startup = 1000; // rounds of the start-up pump, all alike
    countdown all{0, 0};
    const memoryplan allwell = plan(fault::device, 0, 0);
    (void)play(allwell, stopatzero, &all);
    for (uint32_t at = 1; at <= all.rounds; at += at < startup - 1 ? 333 : case_step) {
        countdown count{at, 0};
        const runresult got = play(allwell, stopatzero, &count);
        EXPECT_NE(got.failed, "") << "round " << at;
        EXPECT_EQ(got.detail, 0U) << "a stop is no failure, round " << at;
        ASSERT_EQ(leftovers(got), "") << "round " << at;
    }
}

INSTANTIATE_TEST_SUITE_P(of, faults, ::testing::ValuesIn(scenarios),
                         [](const auto &one) { return std::to_string(one.index); });

// A clock that fails costs the session nothing, and the message bears its error.
TEST(fault, a_clock) {
    int failed = 0;
    bool more = true;
    for (uint32_t at = 1; more; ++at) {
        startplatform({.grant = maxgrant, .failat = at});
        handmade s;
        kvrnhook([](KVRNSESS *sess, void *) { return kvrnlevl(sess, 3); }, nullptr);
        const bool sorted = s.open() == 0 && s.put("12345678") == 0 && s.end() == 1;
        more = held().operations >= at;
        const std::string text = s.message();
        if (text.find("(time)") == std::string::npos)
            continue;
        EXPECT_TRUE(sorted && text.find("(time)(1117)") != std::string::npos) << text;
        ++failed;
    }
    EXPECT_EQ(failed, 3); // at the start, before the input, behind it
}

} // namespace kvern::test
