// What the command reads: the same bytes give the same output by name and through a
// pipe, whatever the verb, and nothing that an input holds is left out unsaid.

#include "commandrun.h"

#include <vector>

using namespace std::string_literals;

namespace kvern::test {
namespace {

class inputs : public commandrun {
  protected:
    // By name into a file and through a pipe to the stream: the same outcome.
    outcome bothways(const std::string &arguments, const std::string &input) {
        std::filesystem::remove("made");
        writefile("file", input);
        const std::string file = arguments.rfind("check", 0) == 0 ? " file" : " -o made file";
        outcome named = run(arguments + file);
        if (std::filesystem::exists("made"))
            named.out += readfile("made");
        const outcome piped = run(arguments, input, true);
        EXPECT_EQ(named.code, piped.code) << named.err << piped.err;
        if (named.code == 0) {
            EXPECT_EQ(named.out, piped.out);
        }
        return named;
    }
};

// ---- the byte 0x1A -----------------------------------------------------------

struct markcase {
    const char *arguments;
    std::string input, output, ended; // with --dos-eof
};

const std::vector<markcase> markcases = {
    {"sort", "b\na\x1A\nzz\n", "a\x1A\nb\nzz\n", "a\nb\n\x1A"},
    {"sort --max-line 9 -k 1", "b\na\n\x1A", "\x1A\na\nb\n", "a\nb\n\x1A"},
    {"sort --eol crlf", "b\n\x1A\r\na\r\0\r\n"s, "a\r\0\r\nb\n\x1A\r\n"s, "b\n\r\n\x1A"},
    {"merge", "a\x1A\nb\x1A", "a\x1A\nb\x1A\n", "a\n\x1A"},
    {"merge", "a\x1A\r\nb\r\nc\x1A", "a\x1A\r\nb\r\nc\x1A\r\n", "a\r\n\x1A"},
    {"merge --eol cr", "a\x1A\rb\nc", "a\x1A\rb\nc\r", "a\r\x1A"},
    {"merge --eol crlf", "a\r\nb\nb\x1A\r\nc\r\n", "a\r\nb\nb\x1A\r\nc\r\n", "a\r\nb\nb\r\n\x1A"},
    {"merge --header 1", "h\x1Ax\nb\n", "h\x1Ax\nb\n", "h\n\x1A"},
    {"copy", "b\n\x1A\na\x1A", "b\n\x1A\na\x1A\n", "b\n\x1A"},
    {"copy -w \"$1 != 'c'\"", "b\r\nc\r\na\x1A", "b\r\na\x1A\r\n", "b\r\na\r\n\x1A"},
    {"copy --eol cr", "b\x1A\ra\rb\x1A\r", "b\x1A\ra\rb\x1A\r", "b\r\x1A"},
    {"copy --eol crlf --short drop", "a\r\nb\n\x1A\r\r\n", "a\r\nb\n\x1A\r\r\n",
     "a\r\nb\n\r\n\x1A"},
    {"copy --header 2", "h\n\x1A\nb\n", "h\n\x1A\nb\n", "h\n\x1A"},
    {"sort", "\x1A", "\x1A\n", "\x1A"},
};

TEST_F(inputs, a_byte_0x1A_is_one_like_any_other) {
    size_t number = 0;
    for (const markcase &one : markcases) {
        if (slow && number++ % 3 != 0)
            continue;
        SCOPED_TRACE(one.arguments);
        const outcome plain = bothways(one.arguments, one.input);
        EXPECT_EQ(plain.code, 0) << plain.err;
        EXPECT_EQ(plain.out, one.output);
        const outcome ended = bothways(one.arguments + " --dos-eof"s, one.input);
        EXPECT_EQ(ended.code, 0) << ended.err;
        EXPECT_EQ(ended.out, one.ended);
    }
    // What a sort made is in order.
    for (const char *end : {"", " --eol cr", " --eol crlf"}) {
        const outcome sorted = run("sort"s + end, "b\na\x1A\r\nzz\n\ra\x1A\x1A\r\n");
        EXPECT_EQ(sorted.code, 0) << sorted.err;
        EXPECT_EQ(bothways("check"s + end, sorted.out).code, 0) << end;
    }
    EXPECT_EQ(bothways("check", "a\nb\n\x1A\n").code, 1);
    EXPECT_EQ(bothways("check --dos-eof", "a\nb\n\x1A\n").code, 0);
}

// ---- line ends ---------------------------------------------------------------

struct endcase {
    std::string input;
    const char *words; // empty: every verb takes it
};

const std::vector<endcase> endcases = {
    {"a\r\nb\n", "line 2 of "},
    {"a\r\nb\nc\r\n", "line 2 of "},
    {"a\r\nb\r\n\n", "line 3 of "},
    {"a\r\nb\x1A\nc", "line 2 of "},
    {"a\r\n" + std::string(5000000, '\n'), "line 2 of "},
    {"a\nb\r\n", ""},
    {"a\r\nb", ""},
};

TEST_F(inputs, lines_that_end_in_two_ways_are_refused) {
    for (const char *verb : {"sort", "sort --max-line 9", "check", "merge", "copy",
                             "copy --header 1", "merge --short drop"})
        for (const endcase &one : endcases) {
            if (slow && (one.input.size() > 99 || verb[0] == 'm'))
                continue;
            SCOPED_TRACE(verb + (" " + one.input.substr(0, 9)));
            const outcome got = bothways(verb, one.input);
            EXPECT_EQ(got.code, *one.words ? 3 : 0) << got.err;
            EXPECT_NE(got.err.find(one.words), std::string::npos) << got.err;
        }
    EXPECT_EQ(bothways("sort --eol lf", "b\r\na\n").out, "a\nb\r\n");
    EXPECT_EQ(bothways("sort --eol crlf", "b\r\na\nc\r\n").out, "a\nc\r\nb\r\n");
}

} // namespace
} // namespace kvern::test
