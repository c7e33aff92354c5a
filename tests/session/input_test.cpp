// What the command reads: the same bytes give the same output by name and through a
// pipe, whatever the verb, and nothing that an input holds is left out unsaid.

#include "commandrun.h"

#include <vector>

using namespace std::string_literals;

namespace kvern::test {
namespace {

using inputs = commandrun;

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
    std::vector<runcase> runs = {{"check", "a\nb\n\x1A\n", 1, "line 3 of IN"},
                                 {"check --dos-eof", "a\nb\n\x1A\n", ""}};
    for (const markcase &one : markcases) {
        runs.emplace_back(one.arguments, one.input, one.output);
        runs.emplace_back(one.arguments + " --dos-eof"s, one.input, one.ended);
    }
    for (const std::string &end : {"\n"s, "\r"s, "\r\n"s}) { // what a sort made is in order
        const std::string sorted = "\x1A" + end + "a\x1A" + end + "b" + end;
        runs.emplace_back("sort", "b" + end + "a\x1A" + end + "\x1A" + end, sorted);
        runs.emplace_back("check", sorted, "");
    }
    everyway(runs);
}

// ---- line ends ---------------------------------------------------------------

TEST_F(inputs, lines_that_end_in_two_ways_are_refused) {
    std::vector<runcase> runs = {{"sort --eol lf", "b\r\na\n", "a\nb\r\n"},
                                 {"sort --eol crlf", "b\r\na\nc\r\n", "a\nc\r\nb\r\n"}};
    for (const std::string verb :
         {"sort", "sort --max-line 9", "check", "merge", "copy", "merge --short drop"}) {
        for (const std::string end : {"\n", "\nc\r\n", "\x1A\nc"})
            runs.emplace_back(verb, "a\r\nb" + end, 3, "line 2 of IN");
        runs.emplace_back(verb, "a\r\nb\r\n\n", 3, "line 3 of IN");
        if (!slow && verb.size() == 4)
            runs.emplace_back(verb, "a\r\n" + std::string(5000000, '\n'), 3, "line 2 of IN");
        runs.emplace_back(verb, "a\nb\r\n", verb == "check" ? "" : "a\nb\r\n");
        runs.emplace_back(verb, "a\r\nb", verb == "check" ? "" : "a\r\nb\r\n");
    }
    everyway(runs);
}

// ---- blocks --------------------------------------------------------------------

std::string rdw(const std::string &data) {
    const size_t length = data.size() + 4;
    return std::string{char(length >> 8), char(length), '\0', '\0'} + data;
}

const std::vector<runcase> blockcases = {
    // The largest block of the input has 15 bytes: two records of a letter, or one longer one.
    {"sort --framing bdw", rdw(rdw("d") + rdw("")) + rdw(rdw("c") + rdw("bb")),
     rdw(rdw("") + rdw("bb")) + rdw(rdw("c") + rdw("d"))},
    {"copy --framing bdw --header 1", rdw(rdw("h") + rdw("b")) + rdw(rdw("a")),
     rdw(rdw("h") + rdw("b")) + rdw(rdw("a"))},
    {"merge --framing bdw --rebuild \"1,1 'long'\" -k 1,1", rdw(rdw("a")) + rdw(rdw("b")),
     rdw(rdw("along")) + rdw(rdw("blong"))},
    {"copy --framing bdw --block-size 32760", rdw(rdw("a")) + rdw(rdw("b")),
     rdw(rdw("a") + rdw("b"))},
    {"sort --framing bdw", "", ""},
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
    {"copy --framing plainrdw", rdw(rdw("b")), rdw(rdw("b"))},
    {"copy --framing rdw", rdw(rdw("b")) + rdw("x"), rdw(rdw("b")) + rdw("x")},
    {"copy --framing rdw", rdw(rdw("")) + rdw(""), rdw(rdw("")) + rdw("")},
    {"copy --framing be16 --block-size 99", "", 2, "--block-size needs --framing bdw"},
    {"copy --framing bdw --block-size 32761", "", 2, "at most 32760"},
};

TEST_F(inputs, blocks_of_records) {
    everyway(blockcases, " --variable 30");
}

} // namespace
} // namespace kvern::test
