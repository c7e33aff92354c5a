// The command as a process: arguments and input bytes to exit code, output bytes
// and the words of an error.

#include "commandrun.h"
#include "support/randomness.h"

#include <set>
#include <vector>

using namespace kvern::test;
using namespace std::string_literals;

namespace {

using command = commandrun;

// ---- runs that succeed ---------------------------------------------------

const std::vector<runcase> sortcases = {
    {"sort -r -u", "a\r\nc\r\na\r\n", "c\r\na\r\n"},
    {"sort -f -s", "b\nB\nA\na\n", "A\na\nb\nB\n"},
    // Fields
    {"sort -t \"::\" -k 2 -k 1", "c::z\nb::y\na::z\n", "b::y\na::z\nc::z\n"},
    {"sort -t \"\\t\" -k 2", "x y\tb\nz\ta\n", "z\ta\nx y\tb\n"},
    {"sort -s -r -k 1 -k 2n", "a 2\nb 1\nb 0\n", "b 0\nb 1\na 2\n"}, // -r where no letters are
    {"sort -k 1b", "   b\n a\n", " a\n   b\n"},
    // Columns
    {"sort --columns --max-line 4 -k 1,4,sj", "\x88\x9F\x88\xA0\n\x83\x41\x83\x42\nABCD\n",
     "ABCD\n\x83\x41\x83\x42\n\x88\x9F\x88\xA0\n"},
    // Fixed records
    {"sort --fixed 3 -s -k 2,1,d", "a1xb2yc1z", "b2ya1xc1z"},
    {"sort --fixed 1 --data ebcdic -k 1,1,ch", "\xF1\xC1\x81", "\x81\xC1\xF1"},
    {"sort --fixed 1 --ebcdic-table 2 -k 1,1,ec", "$\\A", "\\A$"},
    {"sort --fixed 2 -s -k 1,1,bit=0x0F", "\x1Fx\x2Ey\x0Fz", "\x2Ey\x1Fx\x0Fz"},
    // Selection and shape; the shell's quotes hold the words of both systems together
    {"sort --columns --rebuild \"2,1 'x'\" -k 1,2", "1b\n2a\n", "ax\nbx\n"},
    {"sort -t , --rebuild \"$2 '=' $1\" -k 1", "a,z\nb,yy\n", "yy,=,b\nz,=,a\n"},
    {"copy --fixed 2 -w \"(1,1 = 'a' or [1,1] == 'b') and not (2,1 in ('1', '2'))\"", "a1a3b2b4c5",
     "a3b4"},
    {"copy --fixed 2 -w \"[1,2,zd] between -5 and 10\"", "10119U0U0V", "100U"},
    {"copy --fixed 2 -w \"[1,2,pd] <= -12\"", "\x01\x2D\x01\x1D\x01\x2C", "\x01\x2D"},
    {"copy --fixed 2 -w \"[1,2,fi] not in (-1, 256)\"", "\xFF\xFF\x01\x00\x00\x01"s, "\x00\x01"s},
    {"copy --fixed 1 --data ebcdic -w \"[1,1] == 'A' or 1,1 = x'F1'\"", "\xF1\xC1\x81", "\xF1\xC1"},
    {"copy --fixed 2 --zoned overpunch -w \"[1,2,zd] < 0\"", "1A1J", "1J"},
    {"copy -w \"$2:3 > 9 and $1 != ''\"", "x 10\ny 9\nz  100\n", "x 10\nz  100\n"},
    {"copy --columns -w \"[2,3] == 'b'\"", "ab  \nabc \n", "ab  \n"},
    {"copy --fixed 3 --rebuild \"3,1 ' '*2 x'2D' 1,2\"", "abcdef", "c  -abf  -de"},
    // Sums
    {"sort --columns -k 1,1 --sum 2,3", "a  1\nb  5\na -9\n", "a-08\nb  5\n"},
    {"sort --rebuild \"$2:3 $1\" -k 2 --sum 1", "a 1\na 99\n", "100 a\n"},
    // Merge, here of one input
    {"merge -r -w \"$1 != 'b'\" --rebuild \"$1 $1\"", "c\nb\na\n", "c c\na a\n"},
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
    {"merge --fixed 2 --header 1", "zza1b1", "zza1b1"},
    {"merge --columns -w \"[2,1] > '0'\" --short drop", "a2\nb\nc1\n", "a2\nc1\n"},
    {"sort --fixed 2 -r --short drop", "aabbc", "bbaa"},
    {"copy --variable 9 --framing be16 -w \"[2,1] > '0'\" --short drop", "\0\1b\0\2a1"s, "\0\2a1"s},
};

// Two fields of one type in their order.
const std::tuple<const char *, std::string, std::string> typecases[] = {
    {"PD", "\x01\x2D", "\x00\x1C"s},
    {"zd", "1U", "12"},
    {"fi", "\x80\x00"s, "\x7F\xFF"},
    {"bil", "\xFF\x7F", "\x00\x80"s},
    {"fp", "\0\0\x80\xBF"s, "\0\0\x80?"s},
    {"sl", "-2", "+1"},
    {"cst", "2-", "1+"},
    {"clo", "Q2", "12"},
    {"bi", "\x7F\xFF", "\x80\x00"s},
    {"fil", "\xFF\xFF", "\x00\x01"s},
};

TEST_F(command, sorts_by_every_way_in_and_out) {
    std::vector<runcase> all = sortcases;
    for (const auto &[type, low, high] : typecases) {
        const std::string length = std::to_string(low.size());
        const std::string fields = "sort --fixed " + length + " -k 1," + length + "," + type;
        all.emplace_back(fields, high + low, low + high);
        all.emplace_back(fields + ",D", low + high, high + low);
    }
    everyway(all);
}

// ---- runs that are refused -----------------------------------------------

const std::vector<runcase> refusals = {
    {"sort --colums", "", 2, "--colums is no option of sort\n  --columns is one; "},
    {"sort -fixed 3", "", 2, "-fixed is no option of sort\n  --fixed is one; "},
    {"copy -u", "", 2, "-u is no option of copy"},
    {"check a b", "", 2, "check looks at one input"},
    {"sort - -", "", 2, "standard input is named twice"},
    {"sort --columns -t x", "", 2, "--columns and -t exclude each other"},
    {"copy -w 1 --where-file in", "", 2, "--where and --where-file exclude each other"},
    {"sort --variable 9", "", 2, "--variable needs --framing"},
    {"sort -S 5q", "", 2, "-S 5q is no size"},
    {"sort -j 257", "", 2, "is no number from 1 to 256"},
    {"sort -S \"\"", "", 2, "-S \"\" is no size"},
    {"sort -o \"\"", "", 2, "-o \"\" names no file"},
    {"sort --fixed \" 5\"", "", 2, "\" 5\" is no number"},
    {"sort --max-line 4294967296", "", 2, "\"4294967296\" is no number"},
    {"sort -k 2147483647", "b\n", 2, "names field 2147483647"},
    {"sort --data ebcdic", "", 2, "--data ebcdic: lines of text are ASCII"},
    {"deal -o p", "", 2, "deal needs --ways or --ranges"},
    {"deal -o p --ways 1001", "", 2, "is no number from 1 to 1000"},
    {"deal -o p --ways 2 --ranges in", "", 2, "--ways and --ranges exclude each other"},
    {"deal --fixed 1 -k 1,1 -o p --ranges in", "kvern ranges of 5-byte keys\n", 3,
     "line 1 of in is not \"kvern ranges of 4-byte keys\""},
    {"deal --fixed 1 -k 1,1 -o p --ranges in", "kvern ranges of 4-byte keys\n00000061\n00000061\n",
     3, "line 3 of in is not behind the one ahead of it"},
    {"sort -T nowhere", "", 5, "-T nowhere is no directory"},
    // Fields
    {"sort --fixed 18 -k 18,2", "", 2, "of an 18-byte record"},
    {"sort --fixed 32717", "", 2, "records have at most 32716 bytes"},
    {"sort --fixed 9 -k 1,2,xx", "", 2, "\"xx\" is no type"},
    {"sort --fixed 9 -k 1,1,sl", "", 2, "a sl field has 2 to 256 bytes"},
    {"sort --fixed 9 -k 1,1,bit=256", "", 2, "the mask is 1 to 255"},
    {"sort --fixed 9 -k 1,2,tbl=in", "short", 2, "in has not 256 bytes"},
    {"sort --columns -k 1,2,pd", "", 2, "lines of text have no pd fields"},
    {"sort -k 1,2", "", 2, "key 1 (1,2) is no single field"},
    {"sort --fixed 9 -k 1,1 --sum 2,2,ch", "", 2, "\"ch\" is no type that sums"},
    {"copy --fixed 9 --layout in", "a = 1,2\n not = 3\n", 2,
     "in, line 2: this word is one of the language's\n   not = 3\n   ^\n"},
    {"copy --fixed 9 --layout in", "a = 1,2\na = 3,4", 2, "in, line 2: this name is given twice"},
    {"sort --fixed 9 --layout in -k b", "a = 1,2", 2, "key 1: in has no field \"b\""},
    // Selection and shape
    {"copy --fixed 9 -w \"[1,1] ==\"", "", 2, "\n  [1,1] ==\n          ^\n"},
    {"copy --fixed 9 -w \"[1,1] == 'ab'\"", "", 2, "longer than the field"},
    {"copy --fixed 9 -w \"[1,2,pd] == 1234\"", "", 2, "does not fit the field"},
    {"copy --fixed 9 -w \"[1,2,pd] == [3,2,bi]\"", "", 2, "does not compare"},
    {"copy --fixed 9 --rebuild \"1,2 ''\"", "", 2, "an empty text is no piece"},
    {"copy --fixed 9 --rebuild 9,2", "", 2, "--rebuild reaches byte 10 of a 9-byte record"},
    // Records
    {"sort --max-line 3 in", "abc\nabcd\n", 3,
     "line 2 of in has 4 bytes, more than the 3 of --max-line"},
    {"sort", std::string(20000, 'x') + "\n", 3, "(line 1 of standard input) is too long"},
    {"copy", "a\n" + std::string(3000000, 'x'), 3, "line 2 of standard input has 3000000 bytes"},
    {"copy", std::string(9 << 20, 'x'), 3, "line 1 of standard input has more than 4194304 bytes"},
    {"merge --variable 9 --framing be16 -k 1,1", "\0\1b\0\1a"s, 1,
     "record 2 of standard input (offset 3)"},
    {"check --header 1 --fixed 2", "a1b1a2", 1, "record 3 of standard input (offset 4)"},
    {"check -u", "a\r\nb\r\nb\r\n", 1, "(offset 6) has the key of the one ahead of it"},
    {"copy --variable 9 --framing be32", "\0\0\0\12"s, 3, "a length of 10 passes --variable 9"},
    {"merge --variable 9 --framing le32", "\2\0\0\0a"s, 3, "of 2 bytes behind it the input has 1"},
    {"sort --variable 9 --framing be16 -w \"[2,1] > '0'\"", "\0\1b"s, 3,
     "record 1 of standard input has 1 byte, --where looks at byte 2"},
};

TEST_F(command, says_what_is_wrong) {
    asgiven(refusals);
}

TEST_F(command, tells_itself) {
    EXPECT_EQ(says("check -q", "b\na\n", 1, "").err, "");
    EXPECT_EQ(says("--version", "", 0, "").out.rfind("kvern ", 0), 0u);
    EXPECT_NE(says("sort --help", "", 0, "").out.find("sort"), std::string::npos);
    says("help", "", 0, "");
    for (const std::string wrong : {"help nothing", "completion", "completion csh"})
        says(wrong, "", 2, "");
    says("sort --progress always", "b\na\n", 0, "kvern: ");
    for (const std::string size : {"1", "1K"})
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
        {"merge --fixed 2 -k 1,1 tue - mon", "c3", "a2a1b2c2c3c1"},
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
    says("check --fixed 1 --stats=json", "bac", 1, R"("finished":false,"records":{"read":2)");

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
}

// More than one portion of what passes through any buffer, lines across all their ends.
TEST_F(command, passes_streams_of_any_length) {
    randomness r(5);
    std::string lines, low, sorted;
    std::multiset<std::string> all;
    while (lines.size() < 9000000) {
        std::string line(r.below(3000), static_cast<char>(r.between('a', 'z')));
        line += std::to_string(r.below(1000000)) + (r.onein(20) ? "\x1A\r\n" : "\r\n");
        lines += line;
        if (line < "n")
            low += line;
        all.insert(line);
    }
    for (const std::string &line : all)
        sorted += line;
    for (const bool piped : {false, true})
        for (const auto &[arguments, want] :
             {std::pair("copy --columns -T . -w \"[1,1] < 'n'\"", &low),
              {"sort --columns -T . -k 1,3006", &sorted}}) {
            const outcome got = run(arguments, lines, piped);
            EXPECT_EQ(got.code, 0) << got.err;
            EXPECT_TRUE(got.out == *want) << arguments;
        }
}

#if !defined(_WIN32)
TEST_F(command, completes_in_bash) {
    const std::pair<std::string, const char *> offered[] = {
        {"help ''", "sort merge copy check deal"},
        {"sort --eol c", "crlf cr"},
        {"sort in --color = al", "always"},
        {"copy --rev", ""},
        {"copy --field-separator --f", ""}, // any text may be a value
        {"sort in.d", ""},                  // files are the shell's own
    };
    for (const auto &[words, wanted] : offered) {
        writefile("script", "eval \"$($K completion bash)\"\nCOMP_WORDS=(kvern " + words +
                                ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_kvern\n"
                                "echo -n \"${COMPREPLY[*]}\"\n");
        EXPECT_EQ(shell("bash script").out, wanted) << words;
    }
}
#endif

} // namespace
