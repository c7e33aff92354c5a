// Numbers in text: what compares right passes, what would compare wrong ends the command
// and names the line.

#include "commandrun.h"

#include <vector>

using namespace kvern::test;

namespace {

using decimals = commandrun;

const std::vector<runcase> numbercases = {
    // As many decimals each
    {"sort -n", "1000.00\n999.50\n-3.25\n", "-3.25\n999.50\n1000.00\n"},
    {"sort -n", "1000.00\n-0.5x\n", 3, "\"-0.5x\" of -n without a key has 1 decimal, and "},
    {"sort -t \";\" -k 2n", "a;10,50 EUR\nb;9,75\n", "b;9,75\na;10,50 EUR\n"},
    {"sort --columns -n -k 3,6", "a  12.5\nb 12.25\n", 3, "line 2 of IN: the number \"12.25\" of"},
    {"sort --header 1 -k 2n", "a 1.5\nb 20\nc 1.5\n", 3, "line 3 of IN: the number \"1.5\" of"},
    {"sort -n", "1,50\n2.50\n", 3, "line 2 of IN: the number \"2.50\" of -n without a key is not"},
    {"sort -k 1dn", "2,000.50\n999.25\n", "999.25\n2,000.50\n"},
    // No numbers that digits could compare
    {"sort -n", "1\n15e2\n", 3, "\"15e2\" of -n without a key has a letter"},
    {"check -n", "5-\n", 3, "\"5-\" of -n without a key has its minus behind the digits"},
    // Zeros that the engine fills in: no digit ahead of the point, no digit at all
    {"sort -n", "1.50\n.75\n\n", "\n.75\n1.50\n"},
    {"sort -n", "0.50\n\n", 3, "line 2 of IN: the number \"\" of -n without a key has no zero"},
    {"sort -n", ".75\n0.50\n", 3, "\"0.50\" of -n without a key has a zero"},
    // Lines that are left out for want of a field say nothing
    {"sort -k 2n --short drop", "x 2\n1.5\nx 1\n", "x 1\nx 2\n"},
    {"sort -t , -k 1 --sum 2", "a,1.50\nb,2.50\n", 3,
     "line 1 of IN: the number \"1.50\" of sum 1 (2) is no whole number"},
    // Rebuilt lines
    {"sort -t , --rebuild \"$2 $1\" -k 1n", "a,2.5\nb,10\n", 3, "line 2 of IN: the number \"10\" "},
    {"sort --columns --rebuild \"2,3 1,1\" -n -k 1,3", "a2.5\nb 10\n", 3, "line 2 of IN: the num"},
    {"sort -t , --rebuild \"$2 $1\" -n", "1,2.5\n7,1.5\n", "1.5,7\n2.5,1\n"},
    // Numbers of conditions
    {"sort --columns -w \"[1,6] between -0.5 and 1\"", "  0.00\n  1.01\n -0.50\n -0.51\n  1.00\n",
     "  0.00\n  1.00\n -0.50\n"},
    {"copy -w \"$1 = 5.\"", "", 2, "a digit is missing here\n  $1 = 5.\n         ^"},
    {"copy -w \"$1 = 0\"", "2.5\n\nn/a\n0\n", 3, "line 4 of IN: the number \"0\" of $1 in --where"},
    {"copy -w \"$1 < 0.25 or $1 > 3.125\"", "\n", "\n"},
    {"copy -t , -w \"$2 >= 1.005\"", "a,9.50\n", 3,
     "line 1 of IN: the number \"9.50\" of $2 in --where has 2 decimals, and 1.005 there has 3\n"},
    {"copy -w \"$1 >= 0 and not $1 != 0\"", "-0\n0\n1\nx\n-1\n", "-0\n0\nx\n"},
    {"copy -w \"$1 > 1\"", "1,50\n", 3, "does not compare with 1\n"},
};

TEST_F(decimals, compare_or_are_refused) {
    everyway(numbercases);
    writefile("one", "a 12.50\n");
    writefile("two", "a 12.5\n");
    says(
        "merge -k 2n one two", "", 3,
        "line 1 of two: the number \"12.5\" of key 1 (2n) has 1 decimal, and \"12.50\" (line 1 of");
}

} // namespace
