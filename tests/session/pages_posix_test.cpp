// The example lines of the documentation, run as a reader would run them.  Of a page
//
//   ```sh         runs in bash and succeeds; a ```text block next to it is what it says,
//                 on standard output and standard error
//   ```sh same    its lines say the same, each by itself: two programs, one outcome
//   ```c NAME     is written to the file NAME
//
// from top to bottom, in one folder for each page.

#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

using namespace kvern::test;

namespace {

namespace fs = std::filesystem;

struct block {
    std::string kind, text; // kind: what stands behind the fence
    size_t line;
    bool adjoins; // nothing but blank lines between the block ahead and this one
};

std::vector<block> blocksof(const std::string &page) {
    std::vector<block> out;
    std::istringstream in(page);
    size_t number = 0;
    bool inside = false, adjoins = false;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.rfind("```", 0) == 0) {
            if (!inside)
                out.push_back({line.substr(3), "", number, adjoins});
            inside = !inside;
            adjoins = true;
        } else if (inside) {
            out.back().text += line + "\n";
        } else if (!line.empty()) {
            adjoins = false;
        }
    }
    EXPECT_FALSE(inside) << "a fence is not closed";
    return out;
}

class pages : public ::testing::TestWithParam<const char *> {
  protected:
    tempfolder bin, folder;
    fs::path before = fs::current_path();

    // The built command and the built library, as if they were installed.
    void SetUp() override {
        fs::create_symlink(fs::absolute(KVERN_COMMAND), bin.file("kvern"));
        writefile(bin.file("pkg-config"),
                  "echo " KVERN_EXAMPLE_FLAGS " -I" KVERN_SOURCE_DIR "/include -L" KVERN_BINARY_DIR
                  " -Wl,-rpath," KVERN_BINARY_DIR " -lkvern\n");
        fs::permissions(bin.file("pkg-config"), fs::perms::owner_all);
        fs::current_path(folder.path());
    }
    void TearDown() override { fs::current_path(before); }

    std::string run(const std::string &lines) {
        writefile(bin.file("lines"), lines);
        const std::string said = bin.file("said");
        const std::string whole = "PATH=" + bin.path() + ":$PATH LC_ALL=C bash -e -o pipefail " +
                                  bin.file("lines") + " > " + said + " 2>&1 < /dev/null";
        EXPECT_EQ(std::system(whole.c_str()), 0) << lines << readfile(said);
        return readfile(said);
    }
};

TEST_P(pages, examples_say_what_stands_there) {
    const auto all = blocksof(readfile(KVERN_SOURCE_DIR "/docs/" + std::string(GetParam())));
    size_t count = 0;
    for (size_t i = 0; i < all.size(); ++i) {
        const block &one = all[i];
        SCOPED_TRACE(GetParam() + (", line " + std::to_string(one.line)));
        count += one.kind.rfind("sh", 0) == 0 ? 1 : 0;
        if (one.kind == "sh") {
            const std::string said = run(one.text);
            if (i + 1 < all.size() && all[i + 1].kind == "text" && all[i + 1].adjoins) {
                EXPECT_EQ(said, all[i + 1].text);
            }
        } else if (one.kind == "sh same") {
            std::istringstream in(one.text);
            std::string line;
            std::getline(in, line);
            for (const std::string first = run(line); std::getline(in, line);)
                EXPECT_EQ(first, run(line)) << line;
        } else if (one.kind.rfind("c ", 0) == 0) {
            writefile(one.kind.substr(2), one.text);
        }
    }
    EXPECT_GT(count, 5U);
}

INSTANTIATE_TEST_SUITE_P(docs, pages,
                         ::testing::Values("tutorial.md", "coming-from.md", "troubleshooting.md"));

} // namespace
