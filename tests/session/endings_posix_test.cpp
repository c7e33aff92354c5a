// How the command ends where the system refuses: the right code, and nothing pretended.

#include "commandrun.h"
#include "kvern/engine/details.h"
#include "kvern/system/cleanup.h"

#include <thread>

namespace kvern::test {
namespace {

using endings = commandrun;

TEST(details, the_system_decides_where_temporary_files_fail) {
    for (const auto &[detail, syscode, code, words] :
         {std::tuple(214U, 0U, 5, "no temporary file can be made"),
          {214, 112, 6, "no space left"},
          {238, 1234, 5, "system error 1234"},
          {250, 0, 70, "internal error"},
          {250, 1117, 5, "device error"}, // at a block read again
          {111, 112, 3, "longer"}}) {
        const command::explanation told = command::explain(detail, syscode);
        EXPECT_EQ(static_cast<int>(told.code), code) << detail;
        EXPECT_NE(told.what.find(words), std::string::npos) << told.what;
    }
}

// As in a thread; what belongs to another one is left alone.
TEST(endings_of_all, clean_up_behind_what_nobody_catches) {
    static const auto say = [](void *text) { std::fputs(static_cast<char *>(text), stderr); };
    static char mine[] = "mine", others[] = "others";
    for (const bool memory : {true, false})
        EXPECT_EXIT(
            {
                command::cleanatend();
                const command::cleanup one(say, others);
                std::thread([=] {
                    const command::cleanup two(say, mine);
                    memory ? throw std::bad_alloc() : throw 1;
                }).join();
            },
            ::testing::ExitedWithCode(memory ? 6 : 70), "kvern: [^:]*mine$");
}

TEST_F(endings, what_cannot_be_said_is_no_success) {
    writefile("in", "b\na\n");
    for (const std::string verb : {"--version", "help sort", "completion bash", "completion --help",
                                   "check --explain in", "sort --explain in", "sort in"}) {
        EXPECT_EQ(shell("$K " + verb + " > /dev/full").code, 6) << verb;
        EXPECT_EQ(shell("$K " + verb + " >&-").code, 5) << verb;
    }
    EXPECT_EQ(shell("$K sort -o /dev/full in").code, 6);
    says("sort 'a\x1B[2J\nb'", "", 5, "kvern: a\\x1B[2J\\x0Ab: ");
}

TEST_F(endings, few_bytes_and_few_descriptors) {
    std::string data;
    for (unsigned i = 0; i < 5000; ++i)
        data += std::to_string(1000000000 + i * 7919 % 5000) + std::string(89, 'x') + "\n";
    writefile("in", data);
    EXPECT_EQ(shell("ulimit -f 100; $K sort -S 64K -T . in > /dev/null").code, 6);
    for (const std::string limit : {"8", "9", "10"}) {
        const outcome few = shell("ulimit -n " + limit + "; $K sort -S 64K -T . -o made in");
        EXPECT_TRUE(few.code == 0 || few.code == 5) << limit << ": " << few.code << few.err;
    }
}

// As a merge of all at once, which has no groups.
TEST_F(endings, more_inputs_than_descriptors) {
    std::string names;
    for (unsigned i = 0; i < 60; ++i) {
        std::string text;
        for (unsigned j = 0; j < 20; ++j)
            text += std::to_string(100 + j * 3 / 2) + " " + std::to_string(100 + i) + " " +
                    std::to_string(100 + (i * 37 + j * 11) % 100) + "\n";
        names += " f" + std::to_string(i);
        writefile("f" + std::to_string(i), i % 7 == 0 ? "" : text);
    }
    const auto merge = [&](const std::string &limit, const std::string &arguments) {
        const outcome got = shell(limit + "$K merge --stats=json " + arguments + names);
        return std::to_string(got.code) + got.err.substr(0, got.err.find("seconds")) + got.out;
    };
    for (const char *arguments :
         {"-k 1 --sum 3", "-k 1 -u -w '$2 != 117'", "-k 1 --rebuild '$1 $3' -w '$3 > 120'",
          "--columns -k 1,3 --header 1 --max-line 20", "-k 1 --dos-eof",
          "-k 1 --short drop -w '$3 > 120'",
          "--fixed 12 -k 1,3 --short drop --rebuild '1,3 9,4 5,8' -u"}) {
        const std::string whole = merge("", arguments);
        EXPECT_EQ(whole[0], '0') << whole;
        EXPECT_EQ(merge("ulimit -n 24; ", arguments), whole) << arguments;
    }
    writefile("f38", "1 a 1\n3 a 1\n2 a 1\n");
    EXPECT_NE(shell("ulimit -n 24; $K merge -k 1" + names).err.find("line 3 of f38 "),
              std::string::npos);
}

// The second pipe is opened when the file's size is known, and the first one, which is read
// before the file, holds the command up until the file has changed.
TEST_F(endings, inputs_that_change_while_they_are_read) {
    shell("mkfifo p q");
    for (const std::string arguments :
         {"sort", "merge", "copy", "sort --fixed 2", "copy --fixed 2", "merge --max-line 9"})
        for (const auto &[change, code] :
             {std::pair(": > file", 5), {"echo a > file", 5}, {"echo c >> file", 0}}) {
            SCOPED_TRACE(arguments + ": " + change);
            writefile("file", "a\nb\n");
            const outcome got =
                shell("$K " + arguments + " -o made - file q < p & exec 3> p; exec 4> q; " +
                      change + "; exec 3>&-; echo d >&4; exec 4>&-; wait $!");
            EXPECT_EQ(got.code, code);
            const std::string words = code == 0 ? "" : "held 4 bytes at first and only ";
            EXPECT_NE(got.err.find(words), std::string::npos) << got.err;
            EXPECT_EQ(std::filesystem::remove("made"), code == 0);
        }
}

} // namespace
} // namespace kvern::test
