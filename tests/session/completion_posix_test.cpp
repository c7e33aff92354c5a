// The script that completes the command line in bash, run by bash itself.
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/wait.h>

namespace kvern::test {
namespace {

// What is offered for the last of `words`.
std::string offered(const tempfolder &folder, const std::string &words) {
    const std::string script = folder.file("script"), out = folder.file("out");
    writefile(script, "eval \"$('" KVERN_COMMAND "' completion bash)\"\nCOMP_WORDS=(kvern " +
                          words +
                          ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_kvern\n"
                          "echo -n \"${COMPREPLY[*]}\"\n");
    EXPECT_EQ(std::system(("bash " + script + " >" + out + " 2>/dev/null").c_str()), 0) << words;
    return readfile(out);
}

TEST(completion, in_bash) {
    const tempfolder folder;
    const struct {
        const char *words, *offered;
    } cases[] = {
        {"so", "sort"},
        {"help ''", "sort merge copy check"},
        {"completion f", "fish"},
        {"sort --eol c", "crlf cr"},
        {"sort in --color = al", "always"},
        {"merge --rev", "--reverse"},
        {"copy --rev", ""},
        {"copy --field-separator --f", ""}, // any text may be a value
        {"sort in.d", ""},                  // files are the shell's own
    };
    for (const auto &one : cases)
        EXPECT_EQ(offered(folder, one.words), one.offered) << one.words;
}

TEST(completion, refuses_another_shell) {
    for (const char *arguments : {"completion", "completion csh", "completion bash zsh"}) {
        const int status =
            std::system(("'" KVERN_COMMAND "' " + std::string(arguments) + " 2>/dev/null").c_str());
        EXPECT_EQ(WEXITSTATUS(status), 2) << arguments;
    }
}

} // namespace
} // namespace kvern::test
