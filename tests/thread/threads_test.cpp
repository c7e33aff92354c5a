// Eight sessions at once, each on its own thread and with other settings; built
// with the thread sanitizer by the preset `tsan`, and with the others as any test.
// Every session has to come out as it would alone, and the hook that a thread sets
// has to see the sessions of that thread only.
#include "model/model.h"
#include "support/randomness.h"
#include "support/sessionrunner.h"

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace kvern::test {

namespace {

constexpr int repeats = 3;

struct row {
    char form;
    uint32_t memsize;
    uint32_t records; // more than some 900 do not fit the smallest storage
    exchange input, output;
    bool keeporder, suppress;
    uint8_t cdmode;
};
constexpr row rows[] = {
    {'f', 65535, 4000, exchange::plainfile, exchange::plainfile, true, false, 0},
    {'f', 0, 2000, exchange::record, exchange::block, false, true, KVRN_CD_EBCDIC},
    {'v', 65535, 3000, exchange::record, exchange::record, false, false, KVRN_CD_ZONE7},
    {'v', 131072, 1000, exchange::block, exchange::block, true, false, 0},
    {'r', 65535, 3000, exchange::plainfile, exchange::record, true, false, 0},
    {'r', 0, 2000, exchange::descriptorfile, exchange::plainfile, false, true, 0},
    {'f', 70000, 5000, exchange::block, exchange::descriptorfile, false, true, 0},
    {'r', 131072, 500, exchange::record, exchange::record, false, false, KVRN_CD_OVERPUNCH},
};
constexpr size_t threads = std::size(rows);

sessionspec specof(const row &settings, uint64_t seed) {
    randomness r(seed);
    sessionspec spec;
    spec.form = settings.form;
    spec.memsize = settings.memsize;
    spec.input = settings.input;
    spec.output = settings.output;
    spec.keeporder = settings.keeporder;
    spec.suppress = settings.suppress;
    spec.cdmode = settings.cdmode;
    spec.checked = seed % 2 == 0;
    spec.fieldmode = settings.form == 'r' ? KVRN_COLUMNS : 0;
    spec.linedlmt = KVRN_DLMT_LF;
    spec.reclen = 32;
    spec.keys = {keyspec{4, 3}, keyspec{0, 4}};
    spec.inputs.resize(1);
    for (uint32_t i = 0; i < settings.records; ++i) {
        bytes record(spec.form == 'f' ? 32 : r.between(7, 31), 'x');
        for (size_t at = 0; at < 7; ++at)
            record[at] = static_cast<char>('0' + r.below(4));
        spec.inputs[0].push_back(record);
    }
    return spec;
}

// What a thread's hook was called with.
struct watched {
    std::thread::id owner;
    uint64_t rounds = 0, strangers = 0;
};

int KVRN_CALL watch(KVRNSESS *, void *arg) {
    auto &seen = *static_cast<watched *>(arg);
    ++seen.rounds;
    seen.strangers += std::this_thread::get_id() == seen.owner ? 0U : 1U;
    return 0;
}

} // namespace

TEST(threads, eight_sessions_do_not_meet) {
    std::array<sessionspec, threads> specs;
    std::array<std::string, threads> faults;
    std::array<watched, threads> hooks;
    for (size_t i = 0; i < threads; ++i)
        specs[i] = specof(rows[i], i);

    std::atomic<size_t> waiting{threads};
    const auto work = [&](size_t i) {
        const modelresult expected = outcomeof(specs[i]);
        hooks[i].owner = std::this_thread::get_id();
        kvrnhook(watch, &hooks[i]);
        for (--waiting; waiting != 0;)
            std::this_thread::yield();
        for (int again = 0; again < repeats && faults[i].empty(); ++again) {
            const tempfolder folder;
            const runresult got = run(specs[i], folder);
            faults[i] =
                got.failed.empty() ? difference(specs[i], expected, got.records) : got.failed;
        }
        kvrnhook(nullptr, nullptr);
    };
    std::vector<std::thread> running;
    for (size_t i = 0; i < threads; ++i)
        running.emplace_back(work, i);
    for (std::thread &one : running)
        one.join();

    for (size_t i = 0; i < threads; ++i) {
        EXPECT_EQ(faults[i], "") << describe(specs[i]);
        EXPECT_GE(hooks[i].rounds, 1000U * repeats) << i;
        EXPECT_EQ(hooks[i].strangers, 0U) << i;
    }
}

} // namespace kvern::test
