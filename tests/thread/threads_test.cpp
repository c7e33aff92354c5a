// Sessions at once, each on its own thread; built with the thread sanitizer by the
// preset `tsan`, and with the others as any test.  Every session has to come out as it
// would alone, and the hook that a thread sets has to see the sessions of that thread only.
#include "support/modelcheck.h"

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace kvern::test {
namespace {

constexpr size_t threads = 8, sessions = 12;

// Of a size at which the hook gets its turn: a merge and a copy between files have it at
// each block.
constexpr scale sizes[] = {{.maxrecords = 6000, .external = true},
                           {.maxrecords = 3000},
                           {.maxrecords = 6000, .function = KVRN_MERGE},
                           {.maxrecords = 6000, .function = KVRN_COPY}};

// A thread, its faults and what its hook was called with.
struct worker {
    std::thread thread{};
    std::string fault{};
    uint64_t rounds = 0, strangers = 0;

    static int KVRN_CALL watch(KVRNSESS *, void *arg) {
        auto &self = *static_cast<worker *>(arg);
        ++self.rounds;
        self.strangers += std::this_thread::get_id() == self.thread.get_id() ? 0U : 1U;
        return 0;
    }
    void work(size_t number) {
        kvrnhook(watch, this);
        for (size_t i = 0; i < sessions && fault.empty(); ++i) {
            randomness r(number * sessions + i);
            const sessionspec spec = randomsession(r, sizes[(number + i) % std::size(sizes)]);
            fault = faultof(spec);
            if (!fault.empty())
                fault += describe(spec);
        }
        kvrnhook(nullptr, nullptr);
    }
};

TEST(threads, sessions_do_not_meet) {
    std::array<worker, threads> all;
    std::atomic<size_t> waiting{threads + 1};
    for (size_t i = 0; i < threads; ++i)
        all[i].thread = std::thread([&all, &waiting, i] {
            for (--waiting; waiting != 0;) // until all are there and can be told apart
                std::this_thread::yield();
            all[i].work(i);
        });
    --waiting;
    for (worker &one : all) {
        one.thread.join();
        EXPECT_EQ(one.fault, "");
        EXPECT_EQ(one.strangers, 0U);
        EXPECT_GE(one.rounds, sessions * 20);
    }
}

} // namespace
} // namespace kvern::test
