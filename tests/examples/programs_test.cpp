// The examples as a reader runs them: arguments and input to exit code, output and the
// words of a failure.  What they print is written down here or found by plain code.
#include "session/commandrun.h"

using namespace kvern::test;

namespace {

struct programcase {
    std::string program, arguments; // the program as the shell takes it
    int code;
    std::string out, err; // all of the output, a part of the errors
    std::string input{};
};

// One that the build left beside the tests.
std::string built(const char *name) {
    const std::filesystem::path path = std::filesystem::path(KVERN_BINARY_DIR) / name;
    return '"' + std::filesystem::absolute(path).make_preferred().string() + '"';
}

class examples : public commandrun {
  protected:
    void check(const std::vector<programcase> &cases) {
        for (const programcase &c : cases) {
            program = c.program;
            SCOPED_TRACE(program + c.arguments);
            outcome got = run(c.arguments, c.input);
            std::erase(got.out, '\r'); // what ends a line is the system's
            EXPECT_EQ(got.code, c.code) << got.err;
            EXPECT_EQ(got.out, c.out);
            EXPECT_NE(got.err.find(c.err), std::string::npos) << got.err;
            EXPECT_TRUE(c.code != 0 || got.err.empty()) << got.err;
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

// Postings: branch, number, amount in packed decimals, line feed.
const std::string a = {'a', 'x', '0', '1', '2', '3', 0, 0x12, 0x3C, '\n'};
const std::string b = {'b', 'x', '0', '1', '2', '4', 0, 0x12, 0x3D, '\n'};
const std::string c = {'b', 'x', '0', '1', '2', '5', 0, 0x00, 0x7C, '\n'};

} // namespace

TEST_F(examples, c_and_cpp_programs) {
    check({
        {built("putget"), "", 0, cities, ""},
        {built("putget"), "40", 1, "", badkey},
        {built("merge4"), "ash,elm bay,fir \"\" cedar,elm", 0,
         "ash         \nbay         \ncedar       \nelm         \nelm         \nfir         \n",
         ""},
        {built("merge4"), "b,a \"\" \"\" \"\"", 1, "b           \n", "detail 114 KVERN:40:"},
        {built("sortlines"), "\";\" 3nr 1f", 0,
         "aarhus;dk;10\nAsker;no;9\noslo;no;9\nBergen;no;-2\n", "",
         "oslo;no;9\nBergen;no;-2\naarhus;dk;10\nAsker;no;9\n"},
        {built("sortlines"), "\";\" 3", 1, "", "detail 118 KVERN:87:", "a;b;c\na;b\n"},
    });
}

TEST_F(examples, filesort_on_packed_amounts) {
    writefile("given", b + c + a);
    check({
        {built("filesort"), "given sorted 10 0,2,char 6,3,packed,d", 0, "3 records, 30 bytes\n",
         ""},
        {built("filesort"), "given no 10 0,2,char 8,3,packed", 1, "", badkey + "1).\n"},
        {built("filesort"), "none no 10 0,2,char 2,4,zoned", 1, "", ""},
    });
    EXPECT_EQ(readfile("sorted"), a + c + b);
}

TEST_F(examples, keyindex_follows_its_file) {
    writefile("given", "1Oslo 2Nes  3Oslo ");
    const std::string keyindex = built("keyindex");
    check({{keyindex, "given 6 1,4 xOslo", 0, "1Oslo \n3Oslo \n", ""},
           {keyindex, "given 6 1,9", 1, "", "detail 59"}});
    writefile("given", "1Oslo 2Nes  3Oslo 4Moss 5Oslo ");
    check({{keyindex, "given 6 1,4 xOslo", 0, "1Oslo \n3Oslo \n5Oslo \n", ""},
           {keyindex, "given 6 1,4,d", 0, "1Oslo \n3Oslo \n5Oslo \n2Nes  \n4Moss \n", ""}});
}

#if !defined(_WIN32)
TEST_F(examples, in_other_languages_and_their_layouts) {
    const std::string python = KVERN_FOREIGN_ENVIRONMENT " '" KVERN_PYTHON "' '" KVERN_SOURCE_DIR
                                                         "/examples/kvern_ctypes.py'";
    const std::string layouts =
        "'" KVERN_PYTHON "' '" KVERN_SOURCE_DIR "/tests/examples/layouts.py'"
        " '" KVERN_SOURCE_DIR "' '" KVERN_CC "' i686-w64-mingw32-gcc";
    check({
        {python, "", 0, cities, ""},
        {python, "40", 1, "", badkey},
        {layouts, "", 0, "layouts agree\n", ""},
    });
}

#if defined(KVERN_COBOL_EXAMPLES)
TEST_F(examples, in_cobol) {
    const std::string cobol = KVERN_FOREIGN_ENVIRONMENT " '" KVERN_COBOL_EXAMPLES;
    writefile("first", b + c);
    writefile("second", a);
    check({
        {cobol + "/putget'", "", 0, cities, ""},
        {cobol + "/putget'", "40", 1, "", badkey},
        {cobol + "/merge'", "first second merged", 0, "", ""},
        {cobol + "/filesort'", "merged sorted", 0, "3 records\n", ""},
        {cobol + "/filesort'", "none no", 1, "", "detail 290 KVERN:32:"},
        {cobol + "/merge'", "sorted second no", 1, "", "detail 114 KVERN:40:"},
    });
    EXPECT_EQ(readfile("merged"), a + b + c);
    EXPECT_EQ(readfile("sorted"), a + c + b);
}
#endif
#endif
