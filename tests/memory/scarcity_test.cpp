// The command where memory runs out: each of its allocations fails, once or from then on.
// It is done and right then, or says why and leaves all as it was.
#include "kvern/cleanup.h"
#include "support/tempfolder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

int kvernmain(int argc, char **argv);

namespace {

struct supply {
    uint64_t taken;           // since the start
    uint64_t firstno, lastno; // of those that fail, from 1; 0: none
};
supply *memory = nullptr; // shared with the child
bool counted = false;     // in the child alone

} // namespace

void *operator new(std::size_t bytes) {
    const bool fails =
        counted && ++memory->taken >= memory->firstno && memory->taken <= memory->lastno;
    void *out = fails ? nullptr : std::malloc(bytes != 0 ? bytes : 1);
    return out ? out : throw std::bad_alloc();
}
// Those of arrays go by these.
[[gnu::noinline]] void operator delete(void *p) noexcept {
    std::free(p);
}
[[gnu::noinline]] void operator delete(void *p, std::size_t) noexcept {
    std::free(p);
}

namespace kvern::test {

namespace {

constexpr int nomemory = 6;
constexpr uint64_t samples = 40; // of each scenario and way of failing

// What `act` ends with in a process of its own; signals count from 1000.
template <class action>
int inchild(action act) {
    const pid_t child = fork();
    if (child == 0) {
        if (!std::freopen("in", "r", stdin) || !std::freopen("out", "w", stdout) ||
            !std::freopen("err", "w", stderr))
            _exit(99);
        _exit([&]() noexcept { return act(); }()); // as out of main
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

const std::pair<const char *, int> scenarios[] = {
    {"sort -k 2 -o f in", 0},
    {"sort -S 64K -T . --stats -o f", 0},
    {"merge -k 1:1 -T . -o f sorted -", 0},
    {"copy -w $1>\"b\" --rebuild $2 f", 0},
    {"sort --variable 90 --framing rdw -k 1,1 --sum 5,4,zd f", 3},
    {"check in", 1},
    {"sort --explain in", 0},
    {"copy --wher x", 2},
    {"--version", 0},
};
const std::string old = "a 1\nc 2\n";

class scarcity : public ::testing::Test {
  protected:
    tempfolder folder;
    std::filesystem::path before = std::filesystem::current_path();

    void SetUp() override {
        std::filesystem::current_path(folder.path());
        memory = static_cast<supply *>(mmap(nullptr, sizeof *memory, PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        std::string lines;
        for (int i = 0; i < 3000; ++i)
            lines += std::to_string(1000000 + i * 7919 % 3000) + " " + std::to_string(i) +
                     std::string(40, 'x') + "\n";
        writefile("in", lines);
        writefile("sorted", "1 a\n2 b\n");
    }
    void TearDown() override {
        munmap(std::exchange(memory, nullptr), sizeof *memory);
        std::filesystem::current_path(before);
    }

    static int run(std::string line, uint64_t first, uint64_t last) {
        writefile("f", old);
        return inchild([&] {
            std::vector<char *> words = {const_cast<char *>("kvern")};
            for (char *at = std::strtok(line.data(), " "); at; at = std::strtok(nullptr, " "))
                words.push_back(at);
            *memory = {0, first, last};
            counted = true;
            return kvernmain(static_cast<int>(words.size()), words.data());
        });
    }
};

} // namespace

TEST_F(scarcity, each_allocation_of_the_command_fails) {
    for (const auto &[line, right] : scenarios) {
        ASSERT_EQ(run(line, 0, 0), right) << line << readfile("err");
        const std::string file = readfile("f"), text = readfile("out");
        const uint64_t total = memory->taken;
        const size_t entries = folder.entries();
        for (uint64_t at = 1; at <= total; at += std::max<uint64_t>(1, total / samples))
            for (const uint64_t last : {at, UINT64_MAX}) {
                SCOPED_TRACE(line + (" " + std::to_string(at)));
                const int code = run(line, at, last);
                const std::string err = readfile("err"), left = readfile("f");
                ASSERT_TRUE(code == right || code == nomemory) << code << err;
                ASSERT_EQ(folder.entries(), entries);
                if (code == 0) {
                    ASSERT_TRUE(left == file && readfile("out") == text);
                } else {
                    ASSERT_EQ(err.rfind("kvern: ", 0), 0U) << err;
                    ASSERT_TRUE(left == old || left == file);
                }
            }
    }
}

// Of a thread nobody catches anything; what belongs to another one is left alone.
TEST_F(scarcity, an_end_in_a_thread) {
    const auto say = [](void *text) { EXPECT_GT(write(1, text, 1), 0); };
    for (const bool ofmemory : {true, false}) {
        const int code = inchild([&] {
            char mine[] = "m", others[] = "o";
            command::cleanatend();
            const command::cleanup one(say, others);
            std::thread([&] {
                const command::cleanup two(say, mine);
                ofmemory ? throw std::bad_alloc() : throw 1;
            }).join();
            return 0;
        });
        EXPECT_EQ(code, ofmemory ? nomemory : 70);
        EXPECT_EQ(readfile("out"), "m");
        EXPECT_EQ(readfile("err").rfind("kvern: ", 0), 0U);
    }
}

} // namespace kvern::test
