// The plan of the house: floors, arrows that go down, and one writer for each field of the
// session context.
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

// The folders of src from the top floor to the ground.
const std::vector<std::string> floors = {
    "session/call",  "session/run", "param",       "merge/copy", "merge",        "sort",
    "sort/external", "merge/sum",   "select",      "file/bind",  "file/manager", "file/plain",
    "file/indexed",  "file",        "sort/record", "key/text",   "key",          "key/encode",
    "sort/incore",   "session",     "platform"};

// By path below src, without comments.
std::map<std::string, std::string> readsources() {
    std::map<std::string, std::string> out;
    const fs::path root = fs::path(KVERN_SOURCE_DIR) / "src";
    const std::regex comment("//[^\n]*");
    for (const auto &entry : fs::recursive_directory_iterator(root)) {
        const std::string kind = entry.path().extension().string();
        if (kind != ".cpp" && kind != ".h")
            continue;
        std::ostringstream text;
        text << std::ifstream(entry.path()).rdbuf();
        out[fs::relative(entry.path(), root).generic_string()] =
            std::regex_replace(text.str(), comment, "");
    }
    return out;
}
const std::map<std::string, std::string> &sources() {
    static const auto all = readsources();
    return all;
}

bool ends(const std::string &text, const std::string &with) {
    return text.size() >= with.size() && text.substr(text.size() - with.size()) == with;
}

// The fields of the context are its ground, whichever room declares them; the two systems
// are one platform.
size_t floorof(const std::string &path) {
    std::string folder = path.substr(0, path.rfind('/'));
    if (ends(path, "_fields.h"))
        folder = "session";
    if (folder.rfind("platform/", 0) == 0)
        folder = "platform";
    const auto at = std::find(floors.begin(), floors.end(), folder);
    EXPECT_NE(at, floors.end()) << path << " lies on no known floor";
    return static_cast<size_t>(at - floors.begin());
}

std::vector<std::string> included(const std::string &text) {
    static const std::regex pattern("#include \"([^\"]+)\"");
    std::vector<std::string> out;
    for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at)
        if (sources().count((*at)[1]) != 0)
            out.push_back((*at)[1]);
    return out;
}

// A source and its header are one.
std::string stem(const std::string &path) {
    return path.substr(0, path.rfind('.'));
}

class circles {
  public:
    circles() {
        for (const auto &[path, text] : sources())
            for (const std::string &to : included(text))
                if (stem(to) != stem(path))
                    uses[stem(path)].insert(stem(to));
    }
    void walk(const std::string &from) {
        if (done.count(from) != 0)
            return;
        EXPECT_TRUE(open.insert(from).second) << from << " includes itself, by others";
        if (!::testing::Test::HasFailure())
            for (const std::string &to : uses[from])
                walk(to);
        open.erase(from);
        done.insert(from);
    }

  private:
    std::map<std::string, words> uses;
    words open, done;
};

// Field and room, of all that the headers `*_fields.h` declare for the context.
std::map<std::string, std::string> declared() {
    static const std::regex body("struct \\w+_fields \\{([^]*?)\n\\};"),
        name("(?:\\(\\*(\\w+)\\)\\([^;]*|(\\w+)(?:\\[\\w+\\])?\\s*)(?:[,;])");
    std::map<std::string, std::string> out;
    for (const auto &[path, text] : sources()) {
        std::smatch found;
        if (!ends(path, "_fields.h") || !std::regex_search(text, found, body))
            continue;
        const std::string fields = found[1];
        for (std::sregex_iterator at(fields.begin(), fields.end(), name), end; at != end; ++at)
            out[(*at)[1].matched ? (*at)[1] : (*at)[2]] = path.substr(0, path.find('/'));
    }
    return out;
}

} // namespace

TEST(house, arrows_go_down_and_not_round) {
    circles round;
    for (const auto &[path, text] : sources()) {
        for (const std::string &to : included(text))
            EXPECT_LE(floorof(path), floorof(to)) << path << " includes " << to;
        round.walk(stem(path));
    }
}

TEST(house, a_field_is_written_by_its_room_and_read_by_someone) {
    const auto fields = declared();
    EXPECT_GT(fields.size(), 150U);
    // What is changed behind a pointer or in an element is no write of the field.
    const std::regex use(
        "(\\+\\+|--)?\\b(?:ctx|session)->(\\w+)\\b( (?:[-+|&^]|<<|>>)?= |\\+\\+|--)?");
    words readers;
    for (const auto &[path, text] : sources())
        for (std::sregex_iterator at(text.begin(), text.end(), use), end; at != end; ++at) {
            const auto field = fields.find((*at)[2]);
            if (field == fields.end())
                continue;
            if (!(*at)[1].matched && !(*at)[3].matched)
                readers.insert(field->first);
            else
                EXPECT_EQ(path.substr(0, path.find('/')), field->second)
                    << path << " writes " << field->first;
        }
    for (const auto &[field, room] : fields)
        EXPECT_EQ(readers.count(field), 1U) << room << ": nobody reads " << field;
}
