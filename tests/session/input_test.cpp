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
    {"merge", "a\x1A\r\nb\r\nc\x1A", "a\x1A\r\nb\r\nc\x1A\r\n", "a\n\x1A"},
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
    for (const char *end : {"\n", "\r", "\r\n"}) {
        const outcome sorted = run("sort", "b"s + end + "a\x1A" + end + "\x1A" + end + "\x1A");
        EXPECT_EQ(sorted.code, 0) << sorted.err;
        EXPECT_EQ(bothways("check", sorted.out).code, 0) << sorted.out;
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

// ---- blocks --------------------------------------------------------------------

std::string prefixed(const std::string &data) {
    const size_t length = data.size() + 4;
    return {static_cast<char>(length >> 8), static_cast<char>(length), '\0', '\0'};
}
std::string rdw(const std::string &data) {
    return prefixed(data) + data;
}

struct blockcase {
    const char *arguments;
    std::string input;
    int code;
    std::string output; // or words of the error
};

const std::vector<blockcase> blockcases = {
    // The largest block of the input has 15 bytes: two records of a letter, or one longer one.
    {"sort --framing bdw", rdw(rdw("d") + rdw("")) + rdw(rdw("c") + rdw("bb")), 0,
     rdw(rdw("") + rdw("bb")) + rdw(rdw("c") + rdw("d"))},
    {"copy --framing bdw --header 1", rdw(rdw("h") + rdw("b")) + rdw(rdw("a")), 0,
     rdw(rdw("h") + rdw("b")) + rdw(rdw("a"))},
    {"merge --framing bdw --rebuild \"1,1 'long'\" -k 1,1", rdw(rdw("a")) + rdw(rdw("b")), 0,
     rdw(rdw("along")) + rdw(rdw("blong"))},
    {"copy --framing bdw --block-size 32760", rdw(rdw("a")) + rdw(rdw("b")), 0,
     rdw(rdw("a") + rdw("b"))},
    {"sort --framing bdw", "", 0, ""},
    {"sort --framing bdw --block-size 9", rdw(rdw("a") + rdw("bb")), 3, "takes a block of 10"},
    {"sort --framing bdw", rdw(rdw("a")) + rdw(""), 3,
     "offset 9, where the block of record 2 should begin: 00 04 00 00\n  it holds no record"},
    {"copy --framing bdw", rdw(rdw("a")) + rdw(rdw("b")).substr(0, 8), 3, "5 bytes behind it"},
    {"merge --framing bdw", rdw(rdw("a") + "\0"s), 3, "no rdw prefix at offset 9"},
    {"merge --framing bdw", rdw(rdw("a") + "\0\6\0\0b"s), 3, "offset 9, where record 2"},
    {"sort --framing bdw", rdw("\0\5\1\0a"s), 3, "records in segments"},
    {"copy --framing bdw", "\x80\0\0\x0D"s + rdw(rdw("a")), 3, "no block at offset 0"},
    {"copy --framing bdw", "\x7F\xFA\0\0"s + std::string(40000, '\0'), 3, "at most 32760"},
    {"check --framing bdw", rdw(rdw("b")) + rdw(rdw("a")), 1, "record 2 of "},
    // Blocks that are taken for records, and records that only look like blocks
    {"sort --framing rdw", rdw(rdw("b") + rdw("a")) + rdw(rdw("c")), 3, "--framing bdw"},
    {"check --framing rdw", rdw(rdw("b")), 3, "--framing plainrdw"},
    {"copy --framing plainrdw", rdw(rdw("b")), 0, rdw(rdw("b"))},
    {"copy --framing rdw", rdw(rdw("b")) + rdw("x"), 0, rdw(rdw("b")) + rdw("x")},
    {"copy --framing rdw", rdw(rdw("")) + rdw(""), 0, rdw(rdw("")) + rdw("")},
    {"copy --framing be16 --block-size 99", "", 2, "--block-size needs --framing bdw"},
    {"copy --framing bdw --block-size 32761", "", 2, "at most 32760"},
};

TEST_F(inputs, blocks_of_records) {
    size_t number = 0;
    for (const blockcase &one : blockcases) {
        if (slow && number++ % 4 != 0)
            continue;
        SCOPED_TRACE(one.arguments);
        const outcome got = bothways(one.arguments + " --variable 30"s, one.input);
        EXPECT_EQ(got.code, one.code) << got.err;
        if (one.code == 0) {
            EXPECT_EQ(got.out, one.output);
        } else {
            EXPECT_NE(got.err.find(one.output), std::string::npos) << got.err;
        }
    }
}

} // namespace
} // namespace kvern::test
