// Numbers in text: what compares right passes, what would compare wrong ends the command
// and names the line.

#include "commandrun.h"

#include <vector>

using namespace kvern::test;

namespace {

using decimals = commandrun;

const std::vector<runcase> numbercases = {
    // As many decimals each
    {"sort -n", "1000.00\n999.50\n-0.5x\n", 3, "\"-0.5x\" of -n without a key has 1 decimal, and "},
    {"sort -n", "1000.00\n999.50\n-3.25\n", "-3.25\n999.50\n1000.00\n"},
    {"sort -t \";\" -k 2n", "a;10,50 EUR\nb;9,75\n", "b;9,75\na;10,50 EUR\n"},
    {"sort -n", "10:05\n9:40\n", "9:40\n10:05\n"},
    {"sort -n", "1.\n10\n9\n", "1.\n9\n10\n"},
    {"sort -t , -k 2n", "a,999.50\nb,1000\n", 3,
     "line 2 of IN: the number \"1000\" of key 1 (2n) has 0 decimals, and \"999.50\" (line 1 of "
     "IN) "
     "has 2\n"},
    {"sort --columns -n -k 3,6", "a  12.5\nb 12.25\n", 3, "line 2 of IN: the number \"12.25\" of"},
    {"sort --header 1 -k 2n", "a 1.5\nb 20\nc 1.5\n", 3, "line 3 of IN: the number \"1.5\" of"},
    {"sort -n", "1,50\n2.50\n", 3, "line 2 of IN: the number \"2.50\" of -n without a key is not"},
    {"sort -n", "999\n1,000\n", 3, "line 2 of IN"},
    {"sort -k 1dn", "2,000.50\n999.25\n", "999.25\n2,000.50\n"},
    {"sort -k 1dn", "2,000.50\n999.2\n", 3, "line 2 of IN: the number \"999.2\" of"},
    // No numbers that digits could compare
    {"sort -n", "1\n15e2\n", 3,
     "line 2 of IN: the number \"15e2\" of -n without a key has a letter"},
    {"sort -n", "10 a3\n9 b12\n", 3, "line 1 of IN"},
    {"check -n", "5-\n", 3, "\"5-\" of -n without a key has its minus behind the digits"},
    // Zeros that the engine fills in: no digit ahead of the point, no digit at all
    {"sort -n", "1.50\n.75\n\n", "\n.75\n1.50\n"},
    {"sort -n", "0.50\n\n", 3, "line 2 of IN: the number \"\" of -n without a key has no zero"},
    {"sort -n", ".75\n0.50\n", 3,
     "line 2 of IN: the number \"0.50\" of -n without a key has a zero"},
    {"sort -n -s", "3\n\n-\n-1\n", "-1\n\n-\n3\n"},
    // Lines that are left out for want of a field say nothing
    {"sort -k 2n --short drop", "x 2\n1.5\nx 1\n", "x 1\nx 2\n"},
    // Sums
    {"sort -t , -k 1 --sum 2", "a,1.50\nb,2.50\n", 3,
     "line 1 of IN: the number \"1.50\" of sum 1 (2) is no whole number"},
    {"sort -t , -k 1 --sum 2", "a,1\nb,1e3\n", 3, "line 2 of IN: the number \"1e3\" of sum 1 (2)"},
    // Rebuilt lines
    {"sort -t , --rebuild \"$2 $1\" -k 1n", "a,2.5\nb,10\n", 3,
     "line 2 of IN: the number \"10\" of"},
    {"sort -t , --rebuild \"$2:2 $1\" -k 1n", "a,2.5\nb,10\n", "2.,a\n10,b\n"},
    {"sort --columns --rebuild \"2,3 1,1\" -n -k 1,3", "a2.5\nb 10\n", 3,
     "line 2 of IN: the number"},
    {"sort -t , --rebuild \"$2 $1\" -n", "1,2.5\n7,1.5\n", "1.5,7\n2.5,1\n"},
    // Numbers of conditions
    {"copy -t , -w \"$2 >= 1000\"", "a,999.50\nb,1000.00\nc,25000.01\n", "b,1000.00\nc,25000.01\n"},
    {"copy -t , -w \"$2 >= 999.5 and $2 < 1000.000\"", "a,999.50\nb,1000.00\nc,999.49\n",
     "a,999.50\n"},
    {"sort --columns -w \"[1,6] between -0.5 and 1\"", "  0.00\n  1.01\n -0.50\n -0.51\n  1.00\n",
     0, "  0.00\n  1.00\n -0.50\n"},
    {"copy -w \"$1 in (.5)\"", "", 2, "a field or a literal is missing here"},
    {"copy -w \"$1 = 5.\"", "", 2, "a digit is missing here\n  $1 = 5.\n         ^"},
    {"copy -w \"$1 > 0.5\"", "2.5\n.5\n\n.7\n", "2.5\n.7\n"},
    {"copy -w \"$1 = 0\"", "2.5\n\nn/a\n0\n", 3,
     "line 4 of IN: the number \"0\" of $1 in --where has"},
    {"copy -w \"$1 = 0\"", "2.5\n\nn/a\n", "\nn/a\n"},
    {"copy -w \"$1 < 0.25 or $1 > 3.125\"", "\n", "\n"},
    {"copy -t , -w \"$2 >= 1.005\"", "a,9.50\n", 3,
     "line 1 of IN: the number \"9.50\" of $2 in --where has 2 decimals, and 1.005 there has 3\n"},
    {"copy -w \"$1 >= 0 and $1 < 2 and $1 not in (0, 1)\"", "-0\n0\n1\nx\n02\n-1\n3\n", ""},
    {"copy -w \"$1 >= 0 and not $1 != 0\"", "-0\n0\n1\nx\n-1\n", "-0\n0\nx\n"},
    {"copy -w \"$1 > 1\"", "1,50\n", 3, "does not compare with 1\n"},
    {"merge -k 1 -w \"$2 > 5\"", "a 6.5\nb 10\n", 3, "line 2 of IN: the number \"10\" of $2 in"},
};

TEST_F(decimals, compare_or_are_refused) {
    everyway(numbercases);
}

// Longer than what is read ahead of a stream, so that a value far behind tells.
TEST_F(decimals, far_behind_in_a_pipe) {
    std::string lines;
    while (lines.size() < 1200000)
        lines += "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz 12.50\n";
    writefile("two", "a 12.5\n");
    for (const char *arguments :
         {"sort -k 2n -o old", "sort --max-line 80 -k 2:9n -o old", "check -k 2n",
          "copy -w \"$2 > 12\" -o old", "copy -w \"$2 > 12\"", "merge -k 2n -o old"}) {
        SCOPED_TRACE(arguments);
        writefile("old", "old");
        const outcome got = run(arguments, lines + "x 12.5\n", true);
        EXPECT_EQ(got.code, 3);
        EXPECT_NE(got.err.find("the number \"12.5\" of "), std::string::npos) << got.err;
        EXPECT_EQ(readfile("old"), "old");
    }
    // What a condition settled for the first part of a stream does not bind the rest.
    while (lines.size() < (9u << 20)) // more than a copy passes at a time
        lines += lines;
    const outcome zeros = run("copy -t \" \" -w \"$2 = 0\"", lines + "x \n", true);
    EXPECT_EQ(zeros.code, 0) << zeros.err;
    EXPECT_EQ(zeros.out, "x \n");
    writefile("one", "a 12.50\n");
    says("merge -k 2n one two", "", 3,
         "line 1 of two: the number \"12.5\" of key 1 (2n) has 1 decimal, and \"12.50\" (line 1 of "
         "one) has 2");
}

} // namespace
