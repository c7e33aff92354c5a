// The examples as a reader runs them: arguments and input to exit code, output and the
// words of a failure.  What they print is written down here or found by plain code.
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace kvern::test;

namespace {

struct programcase {
    std::string program, arguments, input; // the program as the shell takes it
    int code;
    std::string out, err; // all of the output, a part of the errors
};

// One that the build left beside the tests.
std::string built(const char *name) {
    const std::filesystem::path path = std::filesystem::path(KVERN_BINARY_DIR) / name;
    return '"' + std::filesystem::absolute(path).make_preferred().string() + '"';
}

std::string lines(const std::string &name) { // what ends a line is the system's
    std::string text = readfile(name);
    std::erase(text, '\r');
    return text;
}

class examples : public ::testing::Test {
  protected:
    tempfolder folder;
    std::filesystem::path before = std::filesystem::current_path();

    void SetUp() override { std::filesystem::current_path(folder.path()); }
    void TearDown() override { std::filesystem::current_path(before); }

    static void check(const std::vector<programcase> &cases) {
        for (const programcase &c : cases) {
            const std::string line = c.program + " " + c.arguments + " < in > out 2> err";
            SCOPED_TRACE(line);
            writefile("in", c.input);
#if defined(_WIN32)
            const int code = std::system(('"' + line + '"').c_str()); // the shell takes the pair
#else
            const int code = std::system(line.c_str()) >> 8;
#endif
            const std::string err = lines("err");
            EXPECT_EQ(code, c.code) << err;
            EXPECT_EQ(lines("out"), c.out);
            EXPECT_NE(err.find(c.err), std::string::npos) << err;
            EXPECT_TRUE(c.code != 0 || err.empty()) << err;
        }
    }
};

const std::string cities = "Oslo          709037\n"
                           "Bergen        291940\n"
                           "Trondheim     291940\n"
                           "Aarhus        290598\n"
                           "Hamar          28535\n"
                           "Nowhere           -1\n";
const std::string badkey = "detail 59 KVERN:7:The mistake is found in the specification of the "
                           "key-field(";

} // namespace

TEST_F(examples, c_and_cpp_programs) {
    check({
        {built("putget"), "", "", 0, cities, ""},
        {built("putget"), "40", "", 1, "", badkey},
        {built("merge4"), "ash,elm bay,fir,oak \"\" cedar,elm", "", 0,
         "ash         \nbay         \ncedar       \nelm         \nelm         \nfir         \n"
         "oak         \n",
         ""},
        {built("merge4"), "\"\" \"\" \"\" \"\"", "", 0, "", ""},
        {built("merge4"), "b,a \"\" \"\" \"\"", "", 1, "b           \n", "detail 114 KVERN:40:"},
        {built("sortlines"), "\";\" 3nr 1f", "oslo;no;9\nBergen;no;-2\naarhus;dk;10\nAsker;no;9\n",
         0, "aarhus;dk;10\nAsker;no;9\noslo;no;9\nBergen;no;-2\n", ""},
        {built("sortlines"), "\";\" 3", "a;b;c\na;b\n", 1, "", "detail 118 KVERN:87:"},
        {built("sortlines"), "\";\" 0", "", 1, "", "no field: 0"},
    });
}

// Branch, number, amount in packed decimals, line feed.
TEST_F(examples, filesort_on_packed_amounts) {
    const std::string a = {'a', 'x', '0', '1', '2', '3', 0, 0x12, 0x3C, '\n'};
    const std::string b = {'b', 'x', '0', '1', '2', '4', 0, 0x12, 0x3D, '\n'};
    const std::string c = {'b', 'x', '0', '1', '2', '5', 0, 0x00, 0x7C, '\n'};
    writefile("given", b + c + a);
    check({
        {built("filesort"), "given sorted 10 0,2,char 6,3,packed,d", "", 0, "3 records, 30 bytes\n",
         ""},
        {built("filesort"), "given no 10 0,2,char 8,3,packed", "", 1, "",
         "filesort: " + badkey + "1).\n"},
        {built("filesort"), "given no 10 0,2,char 6,3,float", "", 2, "", ""},
        {built("filesort"), "none no 10 0,2,char 2,4,zoned", "", 1, "", ""},
    });
    EXPECT_EQ(readfile("sorted"), a + c + b);
}

#if !defined(_WIN32)
TEST_F(examples, python_program_and_layouts_in_other_languages) {
    const std::string python = std::string(KVERN_FOREIGN_ENVIRONMENT) + " '" KVERN_PYTHON "'";
    const std::string program = python + " '" KVERN_SOURCE_DIR "/examples/kvern_ctypes.py'";
    const std::string layouts =
        "'" KVERN_PYTHON "' '" KVERN_SOURCE_DIR "/tests/examples/layouts.py'"
        " '" KVERN_SOURCE_DIR "' '" KVERN_CC "' i686-w64-mingw32-gcc";
    check({
        {program, "", "", 0, cities, ""},
        {program, "40", "", 1, "", badkey},
        {layouts, "", "", 0, "layouts agree\n", ""},
    });
}

TEST_F(examples, cobol_program) {
#ifndef KVERN_COBOL_BATCHES
    GTEST_SKIP() << "no COBOL compiler";
#else
    const std::string program = KVERN_FOREIGN_ENVIRONMENT " '" KVERN_COBOL_BATCHES "'";
    check({
        {program, "", "", 0,
         "reversal      -950.00\nrefund         -12.50\npost             7.98\n"
         "paper            7.99\ncoffee          23.40\npower          310.10\n"
         "rent           950.00\nsalaries     48210.75\n",
         ""},
        {program, "40", "", 1, "", badkey},
    });
#endif
}
#endif
