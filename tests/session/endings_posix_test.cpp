// How the command ends where the system refuses: the right code, and nothing pretended.

#include "commandrun.h"
#include "kvern/details.h"

namespace kvern::test {
namespace {

class endings : public commandrun {};

TEST(details, the_system_decides_where_temporary_files_fail) {
    const struct {
        uint32_t detail, syscode;
        int code;
        const char *words;
    } rows[] = {
        {214, 0, 5, "no temporary file can be made"},
        {214, 112, 6, "no space left"},
        {212, 4, 5, "too many open files"},
        {224, 1117, 5, "device error"},
        {238, 1234, 5, "system error 1234"},
        {250, 0, 70, "internal error"},
        {250, 112, 6, "no space left"}, // at a block written again
        {250, 1117, 5, "device error"}, // at a block read again
        {111, 112, 3, "longer"},
    };
    for (const auto &row : rows) {
        const command::explanation told = command::explain(row.detail, row.syscode);
        EXPECT_EQ(static_cast<int>(told.code), row.code) << row.detail;
        EXPECT_NE(told.what.find(row.words), std::string::npos) << told.what;
    }
}

TEST_F(endings, what_cannot_be_said_is_no_success) {
    writefile("in", "b\na\n");
    for (const char *verb :
         {"--version", "help", "help sort", "--help", "copy --help", "completion bash",
          "completion --help", "sort --explain in", "check --explain in", "sort in"})
        for (const auto &[to, code] : {std::pair("/dev/full", 6), std::pair("&-", 5)}) {
            const std::string line = program + " " + verb + " >" + to + " 2> err";
            EXPECT_EQ(exitcode(std::system(line.c_str())), code) << line;
        }
}

TEST_F(endings, arguments_that_mean_nothing) {
    const std::pair<const char *, const char *> refused[] = {
        {"sort -o ''", "-o \"\" names no file"},
        {"sort -S ''", "-S \"\" is no size"},
        {"sort --header 0x10", "\"0x10\" is no number"},
        {"sort --fixed ' 5'", "\" 5\" is no number"},
        {"sort --fixed +5", "\"+5\" is no number"},
        {"sort --max-line 4294967296", "\"4294967296\" is no number"},
        {"sort -k 2147483647", "names field 2147483647"},
        {"copy -w \"$2147483647 = 'a'\"", "names field 2147483647"},
    };
    for (const auto &[arguments, words] : refused) {
        const outcome got = run(arguments, "b\na\n");
        EXPECT_EQ(got.code, 2) << arguments;
        EXPECT_NE(got.err.find(words), std::string::npos) << got.err;
    }
    EXPECT_EQ(run("sort --header 010", std::string(9, '\n') + "c\nb\na\n").out,
              std::string(9, '\n') + "c\na\nb\n"); // no octal number
    const outcome raw = run("sort 'a\x1B[2J\nb'");
    EXPECT_EQ(raw.code, 5);
    EXPECT_EQ(raw.err.rfind("kvern: a\\x1B[2J\\x0Ab: ", 0), 0U) << raw.err;
}

TEST_F(endings, full_places_and_few_descriptors) {
    const auto shell = [this](const std::string &limits, const std::string &rest) {
        const std::string line = "(" + limits + "; exec " + program + " " + rest + ") 2> err";
        return std::system(line.c_str()) >> 8;
    };
    if (std::filesystem::exists("/dev/full")) {
        writefile("in", "b\na\n");
        EXPECT_EQ(shell("true", "sort -o /dev/full in"), 6);
        EXPECT_EQ(shell("true", "sort in > /dev/full"), 6);
    }
    std::string data;
    for (unsigned i = 0; i < 5000; ++i)
        data += std::to_string(1000000000 + i * 7919 % 5000) + std::string(89, 'x') + "\n";
    writefile("in", data);
    EXPECT_EQ(shell("ulimit -f 100", "sort -S 64K -T . in > /dev/null"), 6) << readfile("err");
    for (const char *limit : {"ulimit -n 8", "ulimit -n 9", "ulimit -n 10"}) {
        const int code = shell(limit, "sort -S 64K -T . -o out in");
        EXPECT_TRUE(code == 0 || code == 5) << limit << ": " << code << readfile("err");
    }
}

// As a merge of all at once, which has no groups.
TEST_F(endings, more_inputs_than_descriptors) {
    constexpr unsigned files = 60, lines = 20, keys = 30;
    std::string names;
    for (unsigned i = 0; i < files; ++i) {
        std::string text;
        for (unsigned j = 0; j < lines; ++j)
            text += std::to_string(100 + j * keys / lines) + " " + std::to_string(100 + i) + " " +
                    std::to_string(100 + (i * 37 + j * 11) % 100) + "\n";
        names += " f" + std::to_string(i);
        writefile("f" + std::to_string(i), i % 7 == 0 ? "" : text);
    }
    const auto merge = [&](const std::string &limit, const std::string &arguments) {
        const std::string line = "(" + limit + "exec " + program + " merge --stats=json " +
                                 arguments + names + ") > out 2> err";
        const int code = std::system(line.c_str()) >> 8;
        std::string told = readfile("err");
        return std::to_string(code) + told.substr(0, told.find("seconds")) + readfile("out");
    };
    for (const char *arguments :
         {"-k 1", "-k 1 -u", "-k 1 --sum 3", "-k 1 -u -w '$2 != 117'",
          "-k 1 --rebuild '$1 $3' -w '$3 > 120'", "--columns -k 1,3 --header 1 --max-line 20",
          "-k 1 --dos-eof", "-k 1 --short drop -w '$3 > 120'", "--fixed 12 -k 1,3 --header 2",
          "--fixed 12 -k 1,3 --short drop --rebuild '1,3 9,4 5,8' -u"}) {
        const std::string whole = merge("", arguments);
        EXPECT_EQ(whole[0], '0') << whole;
        EXPECT_EQ(merge("ulimit -n 24; ", arguments), whole) << arguments;
    }
    writefile("f38", "1 a 1\n3 a 1\n2 a 1\n");
    EXPECT_NE(merge("ulimit -n 24; ", "-k 1").find("line 3 of f38 "), std::string::npos);
}

// The pipe is opened when the file's size is known, and holds the command up until then.
TEST_F(endings, inputs_that_change_while_they_are_read) {
    for (const char *arguments : {"sort", "merge", "copy", "sort --fixed 2", "merge --fixed 2",
                                  "copy --fixed 2", "merge --max-line 9"})
        for (const auto &[change, code] :
             {std::pair(": > file", 5), std::pair("printf 'a\\n' > file", 5),
              std::pair("printf 'c\\n' >> file", 0)}) {
            writefile("file", "a\nb\n");
            const std::string line = std::string("rm -f p; mkfifo p; ") + program + " " +
                                     arguments + " -o made file p 2> err & exec 3> p; " + change +
                                     "; printf 'd\\n' >&3; exec 3>&-; wait $!";
            EXPECT_EQ(exitcode(std::system(line.c_str())), code)
                << arguments << ": " << change << readfile("err");
            const std::string words = code == 0 ? "" : "held 4 bytes at first and only ";
            EXPECT_NE(readfile("err").find(words), std::string::npos) << readfile("err");
            EXPECT_EQ(std::filesystem::exists("made"), code == 0);
            std::filesystem::remove("made");
        }
}

} // namespace
} // namespace kvern::test
