// The plan of the house: floors, arrows that go down, one door to the system, and one writer
// for each field of the session context.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using words = std::set<std::string>;

// The folders from the top floor to the ground, the engine's and those of the tools.
const std::vector<std::string> floors = {"src/session/call",
                                         "src/session/run",
                                         "src/param",
                                         "src/merge/copy",
                                         "src/merge",
                                         "src/sort",
                                         "src/sort/external",
                                         "src/merge/sum",
                                         "src/select",
                                         "src/file/bind",
                                         "src/file/manager",
                                         "src/file/plain",
                                         "src/file/indexed",
                                         "src/file",
                                         "src/sort/convert",
                                         "src/key/text",
                                         "src/key",
                                         "src/key/encode",
                                         "src/sort/record",
                                         "src/sort/incore",
                                         "src/session",
                                         "src/platform",
                                         "tools/kvern",
                                         "tools/kvern/manual",
                                         "tools/kvern/run",
                                         "tools/kvern/plan",
                                         "tools/kvern/options",
                                         "tools/kvern/engine",
                                         "tools/kvern/records",
                                         "tools/kvern/syntax",
                                         "tools/kvern/system",
                                         "tools/fmgr",
                                         "tools/shared"};

// Header-only parts of the standard library, with which the engine links nothing.
const words harmless = {"cassert",  "cstdint",   "cstddef",  "cstring", "type_traits",
                        "utility",  "algorithm", "limits",   "array",   "bit",
                        "concepts", "iterator",  "stddef.h", "stdint.h"};

bool starts(const std::string &text, const std::string &with) {
    return text.rfind(with, 0) == 0;
}
bool ends(const std::string &text, const std::string &with) {
    return text.size() >= with.size() && text.substr(text.size() - with.size()) == with;
}

// By path, without comments.
const std::map<std::string, std::string> sources = [] {
    std::map<std::string, std::string> out;
    const fs::path root = KVERN_SOURCE_DIR;
    for (const char *top : {"src", "tools"})
        for (const auto &entry : fs::recursive_directory_iterator(root / top)) {
            if (words{".cpp", ".h"}.count(entry.path().extension().string()) == 0)
                continue;
            std::ostringstream text;
            text << std::ifstream(entry.path()).rdbuf();
            out[fs::relative(entry.path(), root).generic_string()] =
                std::regex_replace(text.str(), std::regex("//[^\n]*"), "");
        }
    return out;
}();

std::vector<std::string> found(const std::string &text, const std::regex &pattern) {
    std::vector<std::string> out;
    for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at)
        out.push_back((*at)[1].matched ? (*at)[1] : (*at)[2]);
    return out;
}

// The sources of the house that this one includes, by path.
std::vector<std::string> included(const std::string &path) {
    static const std::regex pattern("#include \"([^\"]+)\"");
    std::vector<std::string> out;
    for (const std::string &name : found(sources.at(path), pattern))
        for (const fs::path &from : {fs::path(path.substr(0, path.find('/'))), // its root, or
                                     fs::path(path).parent_path()})            // beside it
            if (const std::string to = (from / name).generic_string(); sources.count(to) != 0)
                out.push_back(to);
    return out;
}

// The fields of the context are its ground, whichever room declares them; the two systems
// are one platform.
size_t floorof(const std::string &path) {
    std::string folder = fs::path(path).parent_path().generic_string();
    if (ends(path, "_fields.h"))
        folder = "src/session";
    if (starts(folder, "src/platform/"))
        folder = "src/platform";
    const auto at = std::find(floors.begin(), floors.end(), folder);
    EXPECT_NE(at, floors.end()) << path << " lies on no known floor";
    return static_cast<size_t>(at - floors.begin());
}

// A source and its header are one.
std::string stem(const std::string &path) {
    return path.substr(0, path.rfind('.'));
}

class circles {
  public:
    circles() {
        for (const auto &[path, text] : sources)
            for (const std::string &to : included(path))
                if (stem(to) != stem(path))
                    uses[stem(path)].insert(stem(to));
    }
    void walk(const std::string &from) {
        if (done.count(from) != 0)
            return;
        ASSERT_TRUE(open.insert(from).second) << from << " includes itself, by others";
        for (const std::string &to : uses[from])
            walk(to);
        open.erase(from);
        done.insert(from);
    }

  private:
    std::map<std::string, words> uses;
    words open, done;
};

std::string roomof(const std::string &path) {
    return path.substr(4, path.find('/', 4) - 4);
}

// Field and room, of all that the headers `*_fields.h` declare for the context.
std::map<std::string, std::string> declared() {
    static const std::regex body("struct \\w+_fields \\{([^]*?)\n\\};"),
        name("(?:\\(\\*(\\w+)\\)\\([^;]*|(\\w+)(?:\\[\\w+\\])?\\s*)(?:[,;])");
    std::map<std::string, std::string> out;
    for (const auto &[path, text] : sources)
        if (ends(path, "_fields.h"))
            for (const std::string &fields : found(text, body))
                for (const std::string &field : found(fields, name))
                    out[field] = roomof(path);
    return out;
}

} // namespace

TEST(house, arrows_go_down_and_not_round) {
    circles round;
    for (const auto &[path, text] : sources) {
        for (const std::string &to : included(path))
            EXPECT_LE(floorof(path), floorof(to)) << path << " includes " << to;
        round.walk(stem(path));
    }
}

TEST(house, the_system_is_behind_one_door_and_the_tools_know_the_public_header) {
    for (const auto &[path, text] : sources) {
        const bool door =
            starts(path, "src/platform/posix/") || starts(path, "src/platform/win32/");
        if (starts(path, "src/") && !door) {
            for (const std::string &name : found(text, std::regex("#include <([^>]+)>")))
                EXPECT_EQ(harmless.count(name), 1U) << path << " includes " << name;
        }
        size_t own = 0;
        for (const std::string &name : found(text, std::regex("#include \"([^\"]+)\"")))
            own += starts(name, "kvern.h") ? 0 : 1;
        EXPECT_EQ(own, included(path).size()) << path << " includes what is not of its house";
    }
}

TEST(house, a_field_is_written_by_its_room_and_read_by_someone) {
    const auto fields = declared();
    EXPECT_GT(fields.size(), 150U);
    // What is changed behind a pointer or in an element is no write of the field.
    const std::regex use(
        "(\\+\\+|--)?\\b(?:ctx|session)->(\\w+)\\b( (?:[-+|&^]|<<|>>)?= |\\+\\+|--)?");
    words readers;
    for (const auto &[path, text] : sources)
        for (std::sregex_iterator at(text.begin(), text.end(), use), end; at != end; ++at) {
            const auto field = fields.find((*at)[2]);
            if (!starts(path, "src/") || field == fields.end())
                continue;
            if (!(*at)[1].matched && !(*at)[3].matched)
                readers.insert(field->first);
            else
                EXPECT_EQ(roomof(path), field->second) << path << " writes " << field->first;
        }
    for (const auto &[field, room] : fields)
        EXPECT_EQ(readers.count(field), 1U) << room << ": nobody reads " << field;
}
