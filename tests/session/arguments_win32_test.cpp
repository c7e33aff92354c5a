// Words of the command line as this system gives them: patterns, and characters that file
// calls do not take.
#include "commandrun.h"

#include <fstream>

using namespace kvern::test;

namespace {

using systemwords = commandrun;

TEST_F(systemwords, patterns_stand_for_files) {
    std::filesystem::create_directory("d");
    std::filesystem::create_directory("d/x3.t"); // no file
    for (const char *name : {"x2.t", "x1.t", "d/x2.t", "d/x1.t"})
        writefile(name, std::string(name) + "\n");
    for (const runcase &one :
         std::vector<runcase>{{"copy x?.t", "", "x1.t\nx2.t\n"},
                              {"copy d\\*.t x2.t", "", "d/x1.t\nd/x2.t\nx2.t\n"},
                              {"copy y*.t", "", 5, "y*.t"},
                              {"copy ?\\x1.t", "", 5, "?\\x1.t"}})
        ends(one, one.arguments, "", "", false);
}

TEST_F(systemwords, names_outside_the_code_page_are_told) {
    std::ofstream(std::filesystem::path(L"n\u4E2D.t")) << "a\n";
    const std::wstring command = std::filesystem::path(program).wstring();
    for (const wchar_t *arguments : {L" copy n\u4E2D.t", L" copy n*.t"}) {
        const std::wstring line = L'"' + command + arguments + L" 2> err\"";
        EXPECT_EQ(_wsystem(line.c_str()), 2);
        EXPECT_NE(readfile("err").find("n\\u4E2D.t"), std::string::npos) << readfile("err");
    }
}

} // namespace
