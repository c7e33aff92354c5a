// The example lines of the documentation, run as a reader would run them.  Of a page
//
//   ```sh         runs in bash and succeeds; a ```text block next to it is what it says,
//                 on standard output and standard error
//   ```sh same    its lines say the same, each by itself: two programs, one outcome
//   ```c NAME     is written to the file NAME
//
// from top to bottom, in one folder for each page.

#include "commandrun.h"

#include <sstream>

using namespace kvern::test;
using namespace std::string_literals;

namespace {

namespace fs = std::filesystem;

struct block {
    std::string kind, text; // kind: what stands behind the fence
    std::string told;       // the text block next to it
    size_t line;
};

std::vector<block> blocksof(const std::string &page) {
    std::vector<block> out;
    std::istringstream in(page);
    std::string *into = nullptr;
    size_t number = 0;
    bool adjoins = false; // nothing but blank lines since the last block
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.rfind("```", 0) == 0) {
            const bool tells = line == "```text" && adjoins;
            if (!into && !tells)
                out.push_back({line.substr(3), "", "", number});
            into = into ? nullptr : tells ? &out.back().told : &out.back().text;
            adjoins = true;
        } else if (into) {
            *into += line + "\n";
        } else if (!line.empty()) {
            adjoins = false;
        }
    }
    EXPECT_EQ(into, nullptr) << "a fence is not closed";
    return out;
}

class pages : public commandrun, public ::testing::WithParamInterface<const char *> {
  protected:
    tempfolder bin;

    // The built command and the built library, as if they were installed.
    void SetUp() override {
        fs::create_symlink(fs::absolute(KVERN_COMMAND), bin.file("kvern"));
        writefile(bin.file("pkg-config"),
                  "echo " KVERN_EXAMPLE_FLAGS " -I" KVERN_SOURCE_DIR "/include -L" KVERN_BINARY_DIR
                  " -Wl,-rpath," KVERN_BINARY_DIR " -lkvern\n");
        fs::permissions(bin.file("pkg-config"), fs::perms::owner_all);
        commandrun::SetUp();
    }

    std::string bash(const std::string &lines) {
        writefile(bin.file("lines"), lines);
        const outcome got = shell("PATH=" + bin.path() + ":$PATH LC_ALL=C bash -e -o pipefail " +
                                  bin.file("lines") + " 2>&1 < /dev/null");
        EXPECT_EQ(got.code, 0) << lines << got.out;
        return got.out;
    }
};

TEST_P(pages, examples_say_what_stands_there) {
    size_t count = 0;
    for (const block &one : blocksof(readfile(KVERN_SOURCE_DIR "/docs/"s + GetParam()))) {
        SCOPED_TRACE(GetParam() + (", line " + std::to_string(one.line)));
        count += one.kind.rfind("sh", 0) == 0 ? 1 : 0;
        if (one.kind == "sh") {
            const std::string said = bash(one.text);
            EXPECT_EQ(said, one.told.empty() ? said : one.told);
        } else if (one.kind == "sh same") {
            std::istringstream in(one.text);
            std::string line;
            std::getline(in, line);
            for (const std::string first = bash(line); std::getline(in, line);)
                EXPECT_EQ(first, bash(line)) << line;
        } else if (one.kind.rfind("c ", 0) == 0) {
            writefile(one.kind.substr(2), one.text);
        }
    }
    EXPECT_GT(count, 2U);
}

INSTANTIATE_TEST_SUITE_P(docs, pages,
                         ::testing::Values("tutorial.md", "coming-from.md", "troubleshooting.md",
                                           "scaling.md"));

} // namespace
