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
    {"sort --eol crlf", "b\n\x1A\r\na\r\0\r\n"s, "a\r\0\r\nb\n\x1A\r\n"s, "b\n\r\n\x1A"},
    {"merge", "a\x1A\r\nb\r\nc\x1A", "a\x1A\r\nb\r\nc\x1A\r\n", "a\n\x1A"},
    {"merge --eol cr", "a\x1A\rb\nc", "a\x1A\rb\nc\r", "a\r\x1A"},
    {"copy -w \"$1 != 'c'\"", "b\r\nc\r\na\x1A", "b\r\na\x1A\r\n", "b\r\na\r\n\x1A"},
    {"copy --eol cr", "b\x1A\ra\rb\x1A\r", "b\x1A\ra\rb\x1A\r", "b\r\x1A"},
    {"copy --eol crlf --short drop", "a\r\nb\n\x1A\r\r\n", "a\r\nb\n\x1A\r\r\n",
     "a\r\nb\n\r\n\x1A"},
    {"copy --header 2", "h\n\x1A\nb\n", "h\n\x1A\nb\n", "h\n\x1A"},
};

TEST_F(inputs, a_byte_0x1A_is_one_like_any_other) {
    std::vector<runcase> runs = {{"check", "a\nb\n\x1A\n", 1, "line 3 of IN"},
                                 {"check --dos-eof", "a\nb\n\x1A\n", ""}};
    for (const markcase &one : markcases) {
        runs.emplace_back(one.arguments, one.input, one.output);
        runs.emplace_back(one.arguments + " --dos-eof"s, one.input, one.ended);
    }
    everyway(runs);
}

// ---- line ends ---------------------------------------------------------------

TEST_F(inputs, lines_that_end_in_two_ways_are_refused) {
    std::vector<runcase> runs = {{"sort --eol lf", "b\r\na\n", "a\nb\r\n"},
                                 {"sort --eol crlf", "b\r\na\nc\r\n", "a\nc\r\nb\r\n"}};
    for (const std::string verb : {"sort", "sort --max-line 9", "check", "merge", "copy"}) {
        for (const std::string end : {"\n", "\nc\r\n", "\x1A\nc"})
            runs.emplace_back(verb, "a\r\nb" + end, 3, "line 2 of IN");
        if (!wine && verb.size() == 4)
            runs.emplace_back(verb, "a\r\n" + std::string(5000000, '\n'), 3, "line 2 of IN");
        runs.emplace_back(verb, "a\nb\r\n", verb == "check" ? "" : "a\nb\r\n");
        runs.emplace_back(verb, "a\r\nb", verb == "check" ? "" : "a\r\nb\r\n");
    }
    everyway(runs);
}

// Longer than what is read ahead of a pipe, so only the lines on their way tell.
TEST_F(inputs, are_looked_at_to_their_end) {
    std::string lines, wide;
    while (lines.size() < (9U << 20)) // more than a copy passes at a time
        lines += "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz 12.50\n";
    while (wide.size() < 1200000)
        wide += std::string(3000, 'x') + "\n";
    const std::string last = std::string(4097, 'y') + "\n", odd = "the number \"12.5\" of ";
    for (const runcase &one : std::vector<runcase>{
             {"sort --fixed 3", "abcde", 3, "standard input has 5 bytes, no multiple of --fixed 3"},
             {"sort --max-line 80 -k 2:8", lines + "x\n", 3, "of standard input has 1 field"},
             {"sort -k 2n -o old", lines + "x 12.5\n", 3, odd},
             {"check -k 2n", lines + "x 12.5\n", 3, odd},
             {"copy -w \"$2 > 12\" -o old", lines + "x 12.5\n", 3, odd},
             {"merge -k 2n -o old", lines + "x 12.5\n", 3, odd},
             // What a condition settled for the first part does not bind the rest.
             {"copy -t \" \" -w \"$2 = 0\"", lines + "x \n", "x \n"},
             {"check --max-line 4096", wide + last, 3, "has 4097 bytes, more than the 4096"},
             // A sort measures them first; a byte 0x1A is no end here.
             {"sort", last + "z\x1A\n" + wide + "a\n", "a\n" + wide + last + "z\x1A\n"}})
        ends(one, one.arguments, "standard input",
             one.arguments.find(" -o ") != std::string::npos ? "old" : "", true);
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
    {"sort --framing bdw --block-size 9", rdw(rdw("a") + rdw("bb")), 3, "takes a block of 10"},
    {"sort --framing bdw", rdw(rdw("a")) + rdw(""), 3,
     "offset 9, where the block of record 2 should begin: 00 04 00 00\n  it holds no record"},
    {"copy --framing bdw", rdw(rdw("a")) + rdw(rdw("b")).substr(0, 8), 3, "5 bytes behind it"},
    {"sort --framing bdw", rdw("\0\5\1\0a"s), 3, "records in segments"},
    {"copy --framing bdw", "\x80\0\0\x0D"s + rdw(rdw("a")), 3, "no block at offset 0"},
    {"copy --framing bdw", "\x7F\xFA\0\0"s + std::string(40000, '\0'), 3, "at most 32760"},
    // Blocks that are taken for records, and records that only look like blocks
    {"sort --framing rdw", rdw(rdw("b") + rdw("a")) + rdw(rdw("c")), 3, "--framing bdw"},
    {"check --framing rdw", rdw(rdw("b")), 3, "--framing plainrdw"},
    {"copy --framing plainrdw", rdw(rdw("b")), rdw(rdw("b"))},
    {"copy --framing be16 --block-size 99", "", 2, "--block-size needs --framing bdw"},
    {"copy --framing bdw --block-size 32761", "", 2, "at most 32760"},
};

TEST_F(inputs, blocks_of_records) {
    everyway(blockcases, " --variable 30");
}

} // namespace
} // namespace kvern::test
