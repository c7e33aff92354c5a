// The command where memory runs out: each of its allocations fails, once or from then on.
// It is done and right then, or says why and leaves all as it was.
#include "kvern/cleanup.h"
#include "support/tempfolder.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
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

void *provide(std::size_t bytes) {
    if (counted && ++memory->taken >= memory->firstno && memory->taken <= memory->lastno)
        throw std::bad_alloc();
    void *out = std::malloc(bytes != 0 ? bytes : 1);
    if (!out)
        throw std::bad_alloc();
    return out;
}

} // namespace

void *operator new(std::size_t bytes) {
    return provide(bytes);
}
void *operator new[](std::size_t bytes) {
    return provide(bytes);
}
void operator delete(void *p) noexcept {
    std::free(p);
}
void operator delete[](void *p) noexcept {
    std::free(p);
}
void operator delete(void *p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void *p, std::size_t) noexcept {
    std::free(p);
}

namespace kvern::test {

namespace {

constexpr int nomemory = 6;
constexpr uint64_t samples = 40; // of each scenario and way of failing

void redirect(const std::string &path, int flags, int descriptor) {
    const int file = open(path.c_str(), flags, 0600);
    if (file < 0 || dup2(file, descriptor) < 0)
        _exit(99);
}

// What `act` ends with in a process of its own; signals count from 1000.
template <class action>
int inchild(const tempfolder &folder, action act) {
    const pid_t child = fork();
    if (child == 0) {
        redirect(folder.file("in"), O_RDONLY, 0);
        redirect(folder.file("out"), O_WRONLY | O_CREAT | O_TRUNC, 1);
        redirect(folder.file("err"), O_WRONLY | O_CREAT | O_TRUNC, 2);
        if (chdir(folder.path().c_str()) != 0)
            _exit(99);
        _exit([&]() noexcept { return act(); }()); // as out of main
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

struct scenario {
    std::vector<const char *> arguments;
    int code = 0;
};
const scenario scenarios[] = {
    {{"sort", "-k", "2", "-o", "f", "in"}},
    {{"sort", "-S", "64K", "-T", ".", "--stats", "-o", "f"}},
    {{"merge", "-k", "1:1", "-T", ".", "-o", "f", "sorted", "-"}},
    {{"copy", "-w", "$1 > \"b\"", "--rebuild", "$2 '-' $1", "f"}},
    {{"sort", "--variable", "90", "--framing", "rdw", "-k", "1,1", "--sum", "5,4,zd", "f"}, 3},
    {{"check", "in"}, 1},
    {{"sort", "--explain", "in"}},
    {{"copy", "--wher", "x"}, 2},
    {{"--version"}},
};

class scarcity : public ::testing::Test {
  protected:
    tempfolder folder;
    std::string lines, sorted;

    void SetUp() override {
        memory = static_cast<supply *>(mmap(nullptr, sizeof *memory, PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        *memory = {};
        for (int i = 0; i < 3000; ++i)
            lines += std::to_string(1000000 + i * 7919 % 3000) + " " + std::to_string(i) +
                     std::string(40, 'x') + "\n";
        restore();
        writefile(folder.file("sorted"), "1 a\n2 b\n");
    }
    void TearDown() override { munmap(std::exchange(memory, nullptr), sizeof *memory); }
    void restore() {
        writefile(folder.file("in"), lines);
        writefile(folder.file("f"), "a 1\nc 2\n");
    }

    int run(const scenario &which, uint64_t first, uint64_t last) {
        restore();
        return inchild(folder, [&] {
            std::vector<char *> words = {const_cast<char *>("kvern")};
            for (const char *word : which.arguments)
                words.push_back(const_cast<char *>(word));
            *memory = {0, first, last};
            counted = true;
            return kvernmain(static_cast<int>(words.size()), words.data());
        });
    }
};

} // namespace

TEST_F(scarcity, each_allocation_of_the_command_fails) {
    for (const scenario &each : scenarios) {
        std::string title;
        for (const char *word : each.arguments)
            title += std::string(word) + ' ';
        SCOPED_TRACE(title);
        ASSERT_EQ(run(each, 0, 0), each.code) << readfile(folder.file("err"));
        const std::string file = readfile(folder.file("f")), text = readfile(folder.file("out"));
        const uint64_t total = memory->taken;
        const size_t entries = folder.entries();
        for (uint64_t at = 1; at <= total; at += std::max<uint64_t>(1, total / samples))
            for (const uint64_t last : {at, UINT64_MAX}) {
                const int code = run(each, at, last);
                const std::string err = readfile(folder.file("err"));
                ASSERT_TRUE(code == each.code || code == nomemory) << code << " at " << at << err;
                ASSERT_EQ(folder.entries(), entries) << "at " << at;
                if (code == 0) {
                    ASSERT_TRUE(readfile(folder.file("f")) == file) << "at " << at;
                    ASSERT_EQ(readfile(folder.file("out")), text) << "at " << at;
                    continue;
                }
                ASSERT_EQ(err.rfind("kvern: ", 0), 0U) << err;
                const std::string left = readfile(folder.file("f"));
                ASSERT_TRUE(left == "a 1\nc 2\n" || left == file) << "at " << at;
            }
    }
}

// Of a thread nobody catches anything; what belongs to another one is left alone.
TEST_F(scarcity, an_end_in_a_thread) {
    const auto say = [](void *text) { EXPECT_GT(write(1, text, 1), 0); };
    for (const bool ofmemory : {true, false}) {
        const int code = inchild(folder, [&] {
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
        EXPECT_EQ(readfile(folder.file("out")), "m");
        EXPECT_EQ(readfile(folder.file("err")).rfind("kvern: ", 0), 0U);
    }
}

} // namespace kvern::test
