// Rules over the sources themselves, so that the house stays as it is laid out.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using words = std::set<std::string>;

struct source {
    std::string path; // from the root of the tree
    std::vector<std::string> lines;
};

bool starts(const std::string &text, const std::string &with) {
    return text.rfind(with, 0) == 0;
}

const std::vector<source> sources = [] {
    std::vector<source> out;
    const fs::path root = KVERN_SOURCE_DIR;
    for (const char *folder : {"include", "src", "tools", "tests", "bench", "examples"})
        for (const auto &entry : fs::recursive_directory_iterator(root / folder)) {
            if (words{".cpp", ".h", ".hpp", ".c"}.count(entry.path().extension().string()) == 0)
                continue;
            out.push_back({fs::relative(entry.path(), root).generic_string(), {}});
            std::ifstream in(entry.path());
            for (std::string line; std::getline(in, line);)
                out.back().lines.push_back(line);
        }
    return out;
}();

// What a line includes, with its first bracket or quote: "<cstdint" or
// "\"key/words.h"; empty: nothing.
std::string included(const std::string &line) {
    const size_t at = line.find_first_of("<\"");
    return starts(line, "#include") && at != std::string::npos
               ? line.substr(at, line.find_first_of(">\"", at + 1) - at)
               : "";
}

std::string roomof(const std::string &path) {
    return path.substr(0, path.find('/'));
}

// Header-only parts of the standard library: nothing to link.
const words harmless = {"<cassert",  "<cstdint",   "<cstddef",  "<cstring", "<type_traits",
                        "<utility",  "<algorithm", "<limits",   "<array",   "<bit",
                        "<concepts", "<iterator",  "<stddef.h", "<stdint.h"};

// What every room may use of the session room.
const words basics = {"session/context.h", "session/arena.h", "session/pump.h",
                      "session/qha9msg.h"};

// The arrows between the rooms of src; the session room may use all of them.
// Single headers stand where one routine of a room is wired into a slot.
const std::map<std::string, words> arrows = {
    {"session", {"param", "key", "sort", "merge", "select", "file", "platform"}},
    {"param", {"key", "sort", "file", "platform"}},
    {"key", {"platform", "sort/intake.h", "sort/slots.h", "select", "merge/summation.h"}},
    {"sort", {"key", "file/filectl.h", "platform"}},
    {"merge", {"key", "sort", "select", "file", "platform"}},
    {"select", {"key", "platform", "sort/keycompare.h", "sort/rawrecord.h", "sort/recordform.h"}},
    {"file", {"platform"}},
    {"platform", {}},
};

} // namespace

TEST(tidy, rooms_use_each_other_one_way_and_the_system_through_the_door) {
    for (const source &s : sources) {
        const bool engine = starts(s.path, "src/");
        const bool door =
            starts(s.path, "src/platform/posix/") || starts(s.path, "src/platform/win32/");
        const std::string room = engine ? roomof(s.path.substr(4)) : "";
        ASSERT_TRUE(!engine || arrows.count(room) == 1U) << s.path << " is in no known room";
        for (const std::string &line : s.lines) {
            const std::string given = included(line);
            if (given.empty())
                continue;
            const std::string name = given.substr(1), to = roomof(name);
            bool allowed = true;
            if (engine && given[0] == '<')
                allowed = door || harmless.count(given) != 0;
            else if (engine)
                allowed = name == "kvern.h" || to == room || arrows.at(room).count(to) != 0 ||
                          arrows.at(room).count(name) != 0 ||
                          (basics.count(name) != 0 && room != "platform");
            else if (starts(s.path, "tools/") && given[0] == '"') // know the public header alone
                allowed = starts(name, "kvern.h") || to == "kvern" || to == "shared" || to == name;
            EXPECT_TRUE(allowed) << s.path << " includes " << name;
        }
    }
}
