// The command as a process: arguments and input bytes to exit code, output bytes
// and the words of an error.

#include "commandrun.h"
#include "support/randomness.h"

#include <algorithm>
#include <vector>

using namespace kvern::test;
using namespace std::string_literals;

namespace {

using command = commandrun;

// ---- runs that succeed ---------------------------------------------------

const std::vector<runcase> sortcases = {
    // Text: whole lines
    {"sort", "b\na\nc\n", "a\nb\nc\n"},
    {"sort", "b\na", "a\nb\n"},
    {"sort -r", "a\nc\nb\n", "c\nb\na\n"},
    {"sort -u", "b\na\nb\na\n", "a\nb\n"},
    {"sort -n", "10\n9\n-3\n+4\n", "-3\n+4\n9\n10\n"},
    {"sort -f -s", "b\nB\nA\na\n", "A\na\nb\nB\n"},
    // Line ends
    {"sort", "b\r\na\r\n", "a\r\nb\r\n"},
    {"sort --eol cr", "b\n\ra\n\r", "a\n\rb\n\r"},
    {"sort", "b\x1A\na\n", "a\nb\x1A\n"},
    // Fields
    {"sort -t \";\" -k 2", "1;b;x\n2;;y\n3;a;z\n", "2;;y\n3;a;z\n1;b;x\n"},
    {"sort -t \"::\" -k 2 -k 1", "c::z\nb::y\na::z\n", "b::y\na::z\nc::z\n"},
    {"sort -t \"\\t\" -k 2", "x y\tb\nz\ta\n", "z\ta\nx y\tb\n"},
    {"sort -s -r -k 1 -k 2n", "a 2\nb 1\nb 0\n", "b 0\nb 1\na 2\n"}, // -r where no letters are
    {"sort -k 1b", "   b\n a\n", " a\n   b\n"},
    // Columns
    {"sort --columns -k 2,9,d", "xa\nyb\nz\n", "yb\nxa\nz\n"}, // beyond short lines
    {"sort --columns --max-line 4 -k 1,4,sj", "\x88\x9F\x88\xA0\n\x83\x41\x83\x42\nABCD\n",
     "ABCD\n\x83\x41\x83\x42\n\x88\x9F\x88\xA0\n"},
    // Fixed records
    {"sort --fixed 3 -k 1,1", "b12a34", "a34b12"},
    {"sort --fixed 3 -s -k 2,1,d", "a1xb2yc1z", "b2ya1xc1z"},
    {"sort --fixed 2 -u -k 1,1", "a1b1", "a1b1"},
    {"sort --fixed 3 -k 2,2,pd", "x\x01\x2Cy\x01\x2Dz\x00\x1C"s, "y\x01\x2Dz\x00\x1Cx\x01\x2C"s},
    {"sort --fixed 2 -k 1,2,ZD,D", "1U12", "121U"},
    {"sort --fixed 1 --data ebcdic -k 1,1,ch", "\xF1\xC1\x81", "\x81\xC1\xF1"},
    {"sort --fixed 1 --ebcdic-table 2 -k 1,1,ec", "$\\A", "\\A$"},
    {"sort --fixed 2 -k 1,2,fi", "\x7F\xFF\x80\x00\xFF\xFF"s, "\x80\x00\xFF\xFF\x7F\xFF"s},
    {"sort --fixed 2 -k 1,2,bil", "\x00\x80\xFF\x7F"s, "\xFF\x7F\x00\x80"s},
    {"sort --fixed 4 -k 1,4,fp", "\0\0\x80?\0\0\x80\xBF"s, "\0\0\x80\xBF\0\0\x80?"s},
    {"sort --fixed 2 -s -k 1,1,bit=0x0F", "\x1Fx\x2Ey\x0Fz", "\x2Ey\x1Fx\x0Fz"},
    {"sort --fixed 2 -k 1,2,sl", "+1-2", "-2+1"},
    {"sort --fixed 2 -k 1,2,cst", "1+2-", "2-1+"},
    {"sort --fixed 2 -k 1,2,clo", "12Q2", "Q212"},
    // Selection and shape; the shell's quotes hold the words of both systems together
    {"sort -w \"$1 != 'b'\"", "c\nb\na\n", "a\nc\n"},
    {"sort --columns --rebuild \"2,1 'x'\" -k 1,2", "1b\n2a\n", "ax\nbx\n"},
    {"sort -t , --rebuild \"$2 '=' $1\" -k 1", "a,z\nb,yy\n", "yy,=,b\nz,=,a\n"},
    {"copy --fixed 2 -w \"[1,1] = 'b' or 2,1 == '3'\"", "a1b2c3b3", "b2c3b3"},
    {"copy --fixed 2 -w \"not ([1,1] in ('a', 'c') and [2,1] > '0')\"", "a1b2c0", "b2c0"},
    {"copy --fixed 2 -w \"(1,1 = 'a' or 1,1 = 'b') and not (2,1 = '1' or 2,1 = '2')\"",
     "a1a3b2b4c5", "a3b4"},
    {"copy --fixed 2 -w \"[1,2,zd] between -5 and 10\"", "10119U0U0V", "100U"},
    {"copy --fixed 2 -w \"[1,2,pd] <= -12\"", "\x01\x2D\x01\x1D\x01\x2C", "\x01\x2D"},
    {"copy --fixed 2 -w \"[1,2,fi] not in (-1, 256)\"", "\xFF\xFF\x01\x00\x00\x01"s, "\x00\x01"s},
    {"copy --fixed 1 -w \"[1,1,bit=0x0F] == 5\"", "5u6E", "5uE"},
    {"copy --fixed 1 --data ebcdic -w \"[1,1] == 'A' or 1,1 = x'F1'\"", "\xF1\xC1\x81", "\xF1\xC1"},
    {"copy --fixed 2 --zoned overpunch -w \"[1,2,zd] < 0\"", "1A1J", "1J"},
    {"copy -w \"$2:3 > 9 and $1 != ''\"", "x 10\ny 9\nz  100\n", "x 10\nz  100\n"},
    {"copy --columns -w \"[2,3] == 'b'\"", "ab  \nabc \n", "ab  \n"},
    {"copy -w \"$1 == 'c'\"", "a\r\nc\r\nb", "c\r\n"},
    {"copy", "b\na", "b\na\n"},
    {"copy --fixed 3 --rebuild \"3,1 ' '*2 x'2D' 1,2\"", "abcdef", "c  -abf  -de"},
    // Sums
    {"sort --fixed 2 -k 1,1 --sum 2,1,bi", "a\1b\2a\3", "a\4b\2"},
    {"sort -k 1 --sum 2", "a 1\nb 5\na 9\n", "a 10\nb 5\n"},
    {"sort --columns -k 1,1 --sum 2,3", "a  1\nb  5\na -9\n", "a-08\nb  5\n"},
    {"sort --rebuild \"$2:3 $1\" -k 2 --sum 1", "a 1\na 99\n", "100 a\n"},
    {"merge --fixed 3 -k 1,1 --sum 2,2,pd", "x\x00\x5Cx\x00\x5Dy\x00\x1C"s, "x\x00\x0Dy\x00\x1C"s},
    // Merge, here of one input
    {"merge --fixed 2 -u -k 1,1", "a1a2b3", "a2b3"},
    {"merge -r", "b\na\n", "b\na\n"},
    {"merge -q --eol crlf", "a\r\nb\r\nc\nd", "a\r\nb\r\nc\nd\r\n"},
    {"merge -w \"$1 != 'b'\" --rebuild \"$1 $1\"", "a\nb\nc\n", "a a\nc c\n"},
    // Variable records, in every framing
    {"sort --variable 9 --framing rdw -k 1,1", "\0\6\0\0bx\0\4\0\0\0\5\0\0a"s,
     "\0\4\0\0\0\5\0\0a\0\6\0\0bx"s},
    {"copy --variable 9 --framing be16z -w \"[1,1] > 'a'\"", "\0\1\0\0b\0\1\0\0a"s, "\0\1\0\0b"s},
    {"copy --variable 9 --framing be32", "\0\0\0\0\0\0\0\2ab\0\0\0\1c"s,
     "\0\0\0\0\0\0\0\2ab\0\0\0\1c"s},
    {"merge --variable 9 --framing le32 -k 1,1 -u", "\1\0\0\0a\2\0\0\0ab\1\0\0\0c"s,
     "\2\0\0\0ab\1\0\0\0c"s},
    {"sort --variable 9 --framing be16 --data ebcdic --rebuild \"2,1 'A'\" -k 1,1", "\0\2ab\0\2za"s,
     "\0\2a\xC1\0\2b\xC1"s},
    // Headers and short records
    {"sort --header 1", "z\nb\na\n", "z\na\nb\n"},
    {"copy --header 2 -w \"$1 = 'x'\"", "h\r\n\r\na\r\nx\r\n", "h\r\n\r\nx\r\n"},
    {"merge --fixed 2 --header 1", "zza1b1", "zza1b1"},
    {"sort --header 3 --variable 9 --framing be16", "\0\1b\0\1a"s, "\0\1b\0\1a"s},
    {"sort -k 2 --short drop", "a 2\nb\nc 1\n", "c 1\na 2\n"},
    {"merge --columns -w \"[2,1] > '0'\" --short drop", "a2\nb\nc1\n", "a2\nc1\n"},
    {"copy -w \"$2 > 1\" --short drop", "a 2\nb\nc 1\n", "a 2\n"},
    {"sort --fixed 2 -r --short drop", "aabbc", "bbaa"},
    {"copy --variable 9 --framing be16 -w \"[2,1] > '0'\" --short drop", "\0\1b\0\2a1"s, "\0\2a1"s},
};

TEST_F(command, sorts_by_every_way_in_and_out) {
    everyway(sortcases);
}

// ---- runs that are refused -----------------------------------------------

const std::vector<runcase> refusals = {
    {"srt", "", 2, "\"srt\" is no command"},
    {"sort --colums", "", 2, "--colums is no option of sort\n  --columns is one; "},
    {"sort -fixed 3", "", 2, "-fixed is no option of sort\n  --fixed is one; "},
    {"sort --columns -t x", "", 2, "--columns and -t exclude each other"},
    {"sort -S 5q", "", 2, "-S 5q is no size"},
    {"sort --data ebcdic", "", 2, "--data ebcdic: lines of text are ASCII"},
    {"sort -T nowhere", "", 5, "-T nowhere is no directory"},
    {"sort nowhere", "", 5, "nowhere: "},
    {"sort - -", "", 2, "standard input is named twice"},
    // Keys
    {"sort --fixed 100 -k 1,9 -k 91,11,pd", "", 2,
     "kvern: key 2 (91,11,pd) reaches byte 101 of a 100-byte record\n"
     "  shorten the key or raise --fixed   [message 7, detail 59]\n"},
    {"sort --fixed 32717", "", 2, "records have at most 32716 bytes"},
    {"sort --fixed 9 -k 1,2,xx", "", 2, "\"xx\" is no type"},
    {"sort --fixed 9 -k 1,1,sl", "", 2, "a sl field has 2 to 256 bytes"},
    {"sort --fixed 9 -k 1,1,bit=256", "", 2, "the mask is 1 to 255"},
    {"sort --fixed 9 -k 1,2,tbl=in", "short", 2, "in has not 256 bytes"},
    {"sort --columns -k 1,2,pd", "", 2, "lines of text have no pd fields"},
    {"sort --columns --max-line 5 -k 4,3", "", 2, "reaches byte 6 of a 5-byte line"},
    {"sort -k 1,2", "", 2, "key 1 (1,2) is no single field"},
    {"sort --fixed 18 -k 18,2", "", 2, "of an 18-byte record"},
    // Data
    {"sort --fixed 3", "abcde", 3, "standard input has 5 bytes, no multiple of --fixed 3"},
    {"sort --fixed 6", "hello1\nhello2\n", 3, "--fixed 7 would fit"},
    {"copy -w \"$3 = 'a'\" in", "a b c\na b\n", 3, "line 2 of in has 2 fields, --where names"},
    {"sort -k 2", "a b\nc\n", 3, "line 2 of standard input has 1 field, key 1 (2) names field 2"},
    {"sort --max-line 3 in", "abc\nabcd\n", 3,
     "line 2 of in has 4 bytes, more than the 3 of --max-line"},
    {"sort", std::string(20000, 'x') + "\n", 3, "(line 1 of standard input) is too long"},
    {"copy", "a\n" + std::string(3000000, 'x'), 3, "line 2 of standard input has 3000000 bytes"},
    {"copy", std::string(9 << 20, 'x'), 3, "a line of standard input has more than 4194304 bytes"},
    // Selection and shape
    {"copy --fixed 9 -w \"[1,1] ==\"", "", 2, "\n  [1,1] ==\n          ^\n"},
    {"copy --fixed 9 -w \"[1,1] == 'ab'\"", "", 2, "longer than the field"},
    {"copy --fixed 9 -w \"[1,2,pd] == 1234\"", "", 2, "does not fit the field"},
    {"copy --fixed 9 -w \"[1,2,pd] == [3,2,bi]\"", "", 2, "does not compare"},
    {"copy --fixed 9 -w \"[9,2] == 'a'\"", "", 2, "--where reaches byte 10 of a 9-byte record"},
    {"copy in other", "a\n", 5, "every file named here is an input; -o names the output"},
    {"copy --columns -w \"[1,2,pd] == 1\"", "", 2, "lines of text have ch fields only"},
    {"copy --fixed 9 --rebuild \"1,2 ''\"", "", 2, "an empty text is no piece"},
    {"copy --fixed 9 --rebuild 9,2", "", 2, "--rebuild reaches byte 10 of a 9-byte record"},
    {"copy -u", "", 2, "-u is no option of copy"},
    {"copy -o out2 --columns -w \"[2,1] == 'a'\" in", "ab\nc\n", 3,
     "line 2 of in has 1 byte, --where looks at byte 2"},
    {"sort -u --sum 1", "", 2, "-u and --sum exclude each other"},
    {"sort --fixed 9 -k 1,1 --sum 2,2,ch", "", 2, "\"ch\" is no type that sums"},
    {"merge -n", "2\n1\n", 1,
     "line 2 of standard input (offset 2) sorts before the one "
     "ahead of it\n  sort each input first"},
    {"merge --variable 9 --framing be16 -k 1,1", "\0\1b\0\1a"s, 1,
     "record 2 of standard input (offset 3)"},
    {"check --header 1 --fixed 2", "a1b1a2", 1, "record 3 of standard input (offset 4)"},
    {"check -u", "a\r\nb\r\nb\r\n", 1, "(offset 6) has the key of the one ahead of it"},
    {"check a b", "", 2, "check looks at one input"},
    {"copy --fixed 9 -w \"kind = 1\"", "", 2, "names come from --layout FILE\n  kind = 1\n  ^\n"},
    {"copy --fixed 9 --layout in", "a = 1,2\n not = 3\n", 2,
     "in, line 2: this word is one of the language's\n   not = 3\n   ^\n"},
    {"copy --fixed 9 --layout in", "a = 1,2\na = 3,4", 2, "in, line 2: this name is given twice"},
    {"sort --fixed 9 --layout in -k b", "a = 1,2", 2, "key 1: in has no field \"b\""},
    {"copy -w 1 --where-file in", "", 2, "--where and --where-file exclude each other"},
    // Variable records
    {"sort --variable 9", "", 2, "--variable needs --framing"},
    {"sort --variable 9 --framing rdw --fixed 9", "", 2, "exclude each other"},
    {"sort --variable 9 --framing rdw", "\0\5\0\0a\0\3\0\0"s, 3,
     "standard input: no rdw prefix at offset 5, where record 2 should begin: 00 03 00 00\n"},
    {"copy --variable 9 --framing be16z", "\0\0\1\0"s, 3,
     "offset 0, where record 1 should begin: 00 00 01 00"},
    {"copy --variable 9 --framing be32", "\0\0\0\12"s, 3, "a length of 10 passes --variable 9"},
    {"merge --variable 9 --framing le32", "\2\0\0\0a"s, 3, "of 2 bytes behind it the input has 1"},
    {"merge --variable 9 --framing le32", "\2\0\0"s, 3, "the input ends there"},
    {"sort --variable 9 --framing be16 -w \"[2,1] > '0'\"", "\0\1b"s, 3,
     "record 1 of standard input has 1 byte, --where looks at byte 2"},
};

TEST_F(command, says_what_is_wrong) {
    asgiven(refusals);
}

// Longer than what is read ahead of a pipe, so only the lines on their way tell.
TEST_F(command, says_what_is_wrong_in_a_pipe) {
    std::string words, lines;
    while (lines.size() < 1200000) {
        words += "abcdefgh 12345678\n";
        lines += std::string(3000, 'x') + "\n";
    }
    while (words.size() < lines.size())
        words += words;
    const std::string last = std::string(4097, 'y') + "\n";
    for (const runcase &one : std::vector<runcase>{
             {"sort --fixed 3", "abcde", 3, "ends inside record 2, after 2 of 3 bytes"},
             {"sort --max-line 20 -k 2:8", words + "x\n", 3, "of standard input has 1 field"},
             {"check", lines + last, 3, "has 4097 bytes, more than the 4096"},
             // A sort measures them first; a byte 0x1A is no end here.
             {"sort", last + "z\x1A\n" + lines + "a\n", "a\n" + lines + last + "z\x1A\n"}}) {
        const outcome got = run(one.arguments, one.input, true);
        EXPECT_EQ(got.code, one.code);
        EXPECT_NE(got.err.find(one.code ? one.told : ""), std::string::npos) << got.err;
        EXPECT_TRUE(one.code != 0 || got.out == one.told);
    }
}

TEST_F(command, tells_itself) {
    EXPECT_EQ(says("check -q", "b\na\n", 1, "").err, "");
    EXPECT_EQ(says("--version", "", 0, "").out.rfind("kvern ", 0), 0u);
    EXPECT_NE(says("sort --help", "", 0, "").out.find("sort"), std::string::npos);
    says("help", "", 0, "");
    says("help nothing", "", 2, "");
    says("sort --progress always", "b\na\n", 0, "kvern: ");
    for (const std::string size : {"1", "1G", "50%"})
        EXPECT_EQ(says("sort -S " + size, "b\na\n", 0, "note: -S " + size).out, "a\nb\n");
}

TEST_F(command, several_inputs_names_and_tables) {
    std::string table(256, '\0');
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<char>(255 - i);
    writefile("t,b", table);
    writefile("one", "c\na\n");
    writefile("two", "b"); // its last line gets an end
    writefile("mon", "a1c1");
    writefile("tue", "a2b2c2");
    writefile("lay", "# names\nkind = 1,1\nsize = 2,1,bi\nthird = $3:4\n");
    asgiven({
        {"sort one two", "", "a\nb\nc\n"},
        {"sort one - two", "d\n", "a\nb\nc\nd\n"},
        {"merge --fixed 2 -k 1,1 mon tue", "", "a1a2b2c1c2"},
        {"merge --fixed 2 -k 1,1 tue - mon", "c3", "a2a1b2c2c3c1"},
        {"sort -S 64K -T . -T .", "b\na\n", "a\nb\n"},
        {"check -k 1", "a 2\na 1\n", ""},
        {"sort --fixed 1 -k 1,1,tbl=t,b", "abc", "cba"},
        {"sort --fixed 1 -k 1,1,tbl=t,b,d", "cba", "abc"},
        {"sort --fixed 2 --layout lay -k kind,d --sum size", "b\1a\2a\1a\3", "b\1a\6"},
        {"sort --layout lay -k third,r --rebuild \"third $1\"", "1 2 a\n", 2, ""},
        {"copy --layout lay --rebuild \"third $1\"", "1 2 a\n", "a 1\n"},
    });
}

TEST_F(command, explains_and_counts) {
    writefile("lay", "kind = 1,1\nsize = 2,1,bi\n");
    writefile("where", "kind = 'a'\n# or not\nand size > 1 ");
    EXPECT_EQ(says("copy --fixed 2 --layout lay --where-file where --stats=json", "b\1a\2a\1a\3", 0,
                   R"("dropped":2,"duplicate":0,"summed":0,"written":2},)"
                   R"("bytes":{"read":8,"written":4})")
                  .out,
              "a\2a\3");
    const outcome counted =
        says("sort -k 2n --header 1 --short drop -u --stats -o made", "h\nb 2\nc\na 1\na 1\n", 0,
             "read 5, header 1, short 1, dropped 0, duplicate 1, summed 0, written 3");
    EXPECT_NE(counted.err.find("read 16, written 10"), std::string::npos) << counted.err;

    const std::string told =
        says("sort --explain -o never --fixed 4 --layout lay -w \"kind in ('a', 'b')\" "
             "--rebuild \"size 1,3 'xy'\" -k 2,1,d",
             "", 0, "")
            .out;
    for (const char *line : {"0  1,1,ch == \"a\"  -> keep, 1", "1  1,1,ch == \"b\"  -> keep, drop",
                             "5-6  \"xy\"", "2-2  key 1 (2,1,d)", "fixed, 4 bytes"})
        EXPECT_NE(told.find(line), std::string::npos) << told;
    EXPECT_FALSE(std::filesystem::exists("never"));
}

TEST_F(command, keeps_the_output_until_all_is_done) {
    writefile("one", "a1c1");
    writefile("two", "a2b2c2");
    writefile("bad", "b1a1");
    says("--version", "", 0, "");
    const size_t files = folder.entries();
    says("merge --fixed 2 -u -k 1,1 -o one one two", "", 0, "");
    EXPECT_EQ(readfile("one"), "a2b2c2");
    says("sort -s --fixed 2 -k 1,1,d -o one one bad", "", 0, "");
    EXPECT_EQ(readfile("one"), "c2b2b1a2a1");
    says("merge --fixed 2 -o two two bad", "", 1, "");
    says("copy --fixed 2 -o two two nowhere", "", 5, "nowhere");
    EXPECT_EQ(readfile("two"), "a2b2c2");
    EXPECT_EQ(folder.entries(), files);
}

TEST_F(command, a_sum_that_does_not_fit) {
    const std::string input = "a\360a\360b\1", sums = "sort --fixed 2 -k 1,1 --sum 2,1,bi ";
    writefile("total", "old");
    says(sums + "-o total", input, 3, "a sum does not fit its field");
    EXPECT_EQ(readfile("total"), "old");
    EXPECT_EQ(says(sums + "--on-overflow warn", input, 4, "").out, input);
    says(sums + "--on-overflow warn -o total", input, 4, "");
    EXPECT_EQ(readfile("total"), input);
    says("sort -k 1 --sum 2", "a x\na 1\n", 3, ""); // no number
}

// More than one portion of what passes through standard output.
TEST_F(command, copies_streams_of_any_length) {
    randomness r(5);
    std::string lines, want;
    while (lines.size() < 9000000) {
        std::string line(r.below(3000) + 1, static_cast<char>(r.between('a', 'z')));
        line += r.onein(20) ? "\x1A\r\n" : "\r\n";
        lines += line;
        if (line[0] < 'n')
            want += line;
    }
    const outcome got = run("copy --columns -T . -w \"[1,1] < 'n'\"", lines, true);
    EXPECT_EQ(got.code, 0) << got.err;
    EXPECT_TRUE(got.out == want);
}

TEST_F(command, lines_across_every_buffer) {
    randomness r(7);
    std::string lines;
    std::vector<std::string> want;
    while (lines.size() < 600000) {
        std::string line(r.below(200) + (r.onein(50) ? 500 : 0), '\0');
        for (char &c : line)
            c = static_cast<char>(r.between(33, 126));
        want.push_back(line);
        lines += line + "\r\n";
    }
    std::sort(want.begin(), want.end());
    std::string sorted;
    for (const std::string &line : want)
        sorted += line + "\r\n";
    for (const bool piped : {false, true}) {
        const outcome got = run("sort --columns -k 1,200", lines, piped);
        EXPECT_EQ(got.code, 0) << got.err;
        EXPECT_TRUE(got.out == sorted);
    }
}

} // namespace
