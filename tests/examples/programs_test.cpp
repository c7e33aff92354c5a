// The examples as a reader runs them: arguments and input to exit code, output and the
// words of a failure.  What they print is written down here or found by plain code.
#include "support/randomness.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace kvern::test;

namespace {

struct outcome {
    int code;
    std::string out, err;
};

// Runs a program, which stands as the shell takes it, in the folder.
outcome run(const tempfolder &folder, const std::string &program, const std::string &arguments,
            const std::string &input = "") {
    const std::filesystem::path before = std::filesystem::current_path();
    writefile(folder.file("in"), input);
    std::filesystem::current_path(folder.path());
    const std::string line = program + " " + arguments + " < in > out 2> err";
#if defined(_WIN32)
    const int code = std::system(('"' + line + '"').c_str()); // the shell takes the outer pair
#else
    const int code = std::system(line.c_str()) >> 8;
#endif
    std::filesystem::current_path(before);
    outcome o = {code, readfile(folder.file("out")), readfile(folder.file("err"))};
    for (std::string *text : {&o.out, &o.err}) // what ends a line is the system's
        text->erase(std::remove(text->begin(), text->end(), '\r'), text->end());
    return o;
}

// One that the build left beside the tests.
std::string built(const char *name) {
    const std::filesystem::path path = std::filesystem::path(KVERN_BINARY_DIR) / name;
    return '"' + std::filesystem::absolute(path).make_preferred().string() + '"';
}

struct programcase {
    std::string program, arguments, input;
    int code;
    const char *out, *err; // all of the output, a part of the errors
};

void check(const std::vector<programcase> &cases) {
    const tempfolder folder;
    for (const programcase &c : cases) {
        const outcome o = run(folder, c.program, c.arguments, c.input);
        SCOPED_TRACE(c.program + " " + c.arguments);
        EXPECT_EQ(o.code, c.code) << o.err;
        EXPECT_EQ(o.out, c.out);
        EXPECT_NE(o.err.find(c.err), std::string::npos) << o.err;
        EXPECT_TRUE(c.code != 0 || o.err.empty()) << o.err;
    }
}

const char *const cities = "Oslo          709037\n"
                           "Bergen        291940\n"
                           "Trondheim     291940\n"
                           "Aarhus        290598\n"
                           "Hamar          28535\n"
                           "Nowhere           -1\n";
const char *const badkey = "detail 59 KVERN:7:The mistake is found in the specification of the "
                           "key-field(";

} // namespace

TEST(example, c_and_cpp_programs) {
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

TEST(example, filesort_on_packed_and_zoned_amounts) {
    const tempfolder folder;
    randomness r(11);
    struct row {
        std::string branch;
        int amount;
        std::string record;
    };
    std::vector<row> rows;
    std::string in, want;
    for (int i = 0; i < 3000; ++i) { // branch 2, number 4, amount 3 packed, line feed
        row one = {std::string(1, static_cast<char>('a' + r.below(5))) + 'x',
                   static_cast<int>(r.below(199)) - 99, ""};
        const int digits = std::abs(one.amount);
        one.record = one.branch + std::to_string(1000 + i) + '\0';
        one.record += static_cast<char>(digits / 10 % 10);
        one.record += static_cast<char>(digits % 10 * 16 + (one.amount < 0 ? 13 : 12));
        in += one.record += '\n';
        rows.push_back(one);
    }
    std::stable_sort(rows.begin(), rows.end(), [](const row &a, const row &b) {
        return a.branch != b.branch ? a.branch < b.branch : a.amount > b.amount;
    });
    for (const row &one : rows)
        want += one.record;
    writefile(folder.file("given.dat"), in);

    const std::string files = "given.dat sorted.dat 10 ";
    outcome o = run(folder, built("filesort"), files + "0,2,char 6,3,packed,d");
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "3000 records, 30000 bytes\n");
    EXPECT_TRUE(readfile(folder.file("sorted.dat")) == want);
    o = run(folder, built("filesort"), files + "0,2,char 8,3,packed");
    EXPECT_EQ(o.code, 1);
    EXPECT_EQ(o.err, std::string("filesort: ") + badkey + "1).\n");
    EXPECT_EQ(run(folder, built("filesort"), files + "0,2,char 6,3,float").code, 2);
    EXPECT_EQ(
        run(folder, built("filesort"), "none.dat" + files.substr(9) + "0,2,char 2,4,zoned").code,
        1);
}

#if !defined(_WIN32)
TEST(example, python_program_and_layouts_in_other_languages) {
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

TEST(example, cobol_program) {
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
