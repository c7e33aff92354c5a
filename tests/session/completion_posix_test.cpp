// The script that completes the command line in bash, run by bash itself.
#include "commandrun.h"

namespace kvern::test {
namespace {

using completion = commandrun;

TEST_F(completion, in_bash) {
    const std::pair<std::string, const char *> offered[] = {
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
    for (const auto &[words, wanted] : offered) {
        writefile("script", "eval \"$($K completion bash)\"\nCOMP_WORDS=(kvern " + words +
                                ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_kvern\n"
                                "echo -n \"${COMPREPLY[*]}\"\n");
        EXPECT_EQ(shell("bash script").out, wanted) << words;
    }
    for (const char *shells : {"", " csh", " bash zsh"})
        EXPECT_EQ(run(std::string("completion") + shells).code, 2) << shells;
}

} // namespace
} // namespace kvern::test
