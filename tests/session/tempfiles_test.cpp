// Where the temporary files of a sort come to lie: the sources of places in their order,
// the places of a list one after the other, what is left alone, what stays.
#include "handmade.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <memory>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace kvern::test {
namespace {

int KVRN_CALL depositing(KVRNSESS *sess, void *text) {
    (void)kvrntmpd(sess, static_cast<const char *>(text));
    return 0;
}

void setvariable(const char *name, const char *value) {
#if defined(_WIN32)
    _putenv((std::string(name) + "=" + (value ? value : "")).c_str());
#else
    value ? setenv(name, value, 1) : unsetenv(name);
#endif
}

// The three variables for one case, given back afterwards.
class surroundings {
  public:
    explicit surroundings(const std::vector<std::string> &values) {
        for (size_t i = 0; i < 3; ++i) {
            const char *now = std::getenv(names[i]);
            before[i] = now ? std::make_unique<std::string>(now) : nullptr;
            setvariable(names[i], i < values.size() ? values[i].c_str() : nullptr);
        }
    }
    ~surroundings() {
        for (size_t i = 0; i < 3; ++i)
            setvariable(names[i], before[i] ? before[i]->c_str() : nullptr);
    }
    surroundings(const surroundings &) = delete;

  private:
    static constexpr const char *names[] = {"KVERN_TMPDIR", "TEMP", "TMP"};
    std::unique_ptr<std::string> before[3];
};

// A sort of more records than 64 KB hold, whose temporary files stay; places are named
// by a letter: directories a to f, files A to F in the folder, O a file that was there,
// M one in a directory that is missing, - null.
struct sorting : handmade {
    tempfolder folder;
    std::deque<std::string> names;
    std::vector<uint64_t> room = std::vector<uint64_t>(200);

    sorting() {
        prim.memsize = KVRN_MEM_MIN;
        prim.tmpopt = KVRN_TMP_KEEP;
        for (const char *name : {"a", "b", "c", "d", "e", "f"})
            std::filesystem::create_directory(folder.file(name + std::string("dir")));
        writefile(folder.file("O"), "yesterday");
    }
    std::string place(char letter) const {
        return folder.file(letter == 'M'   ? "none/M"
                           : letter >= 'a' ? letter + std::string("dir")
                                           : std::string(1, letter));
    }
    // A text of directories: the places of letters, all else as it stands.
    std::string text(const std::string &letters) const {
        std::string out;
        for (const char letter : letters)
            out += letter >= 'a' && letter <= 'f' ? place(letter) : std::string(1, letter);
        return out;
    }
    void list(const std::string &letters) {
        auto *made = reinterpret_cast<KVRNFLST *>(room.data());
        made->count = static_cast<uint32_t>(letters.size());
        for (size_t i = 0; i < letters.size(); ++i)
            made->path[i] =
                letters[i] == '-' ? nullptr : names.emplace_back(place(letters[i])).c_str();
        files.workfiles = made;
    }
    // The places that files lie in, once for each; "!" and the detail where it failed.
    std::string sort() {
        bool good = open() == 0;
        for (uint32_t i = 0; good && i < 12000; ++i)
            good = put(std::to_string(10000000 + i * 7919U % 65521)) == 0;
        good = good && end() == 1;
        int last = 1;
        if (good)
            (void)getall(&last);
        const std::string failed = good && last == 1 ? "" : "!" + std::to_string(sess.detail);
        (void)close();
        std::string found;
        for (const char letter : std::string("abcdefABCDEFO")) {
            const std::string path = place(letter);
            if (std::filesystem::is_directory(path))
                for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(path))
                    found += letter;
            else if (std::filesystem::exists(path) && readfile(path) != "yesterday")
                found += letter;
        }
        return found + failed;
    }
};

TEST(tempfiles, sources_in_their_order) {
    const struct {
        const char *what, *list, *early;
        std::vector<std::string> variables;
        const char *found;
    } cases[] = {
        {"own variable", "", nullptr, {"a;b", "c", "d"}, "a"},
        {"empty counts as absent", "", nullptr, {"", "c", "d"}, "c"},
        {"the last one", "", nullptr, {"", "", "d"}, "d"},
        {"bad variable ends the search", "", nullptr, {"a;", "c", "d"}, "!227"},
        {"blanks in front", "", nullptr, {" \ta;b"}, "a"},
        {"only the first line", "", nullptr, {"a\nb;"}, "a"},
        {"early text", "", "e;f", {"a"}, "e"},
        {"early text that is none", "", "\3xx", {"a"}, "a"},
        {"empty early text", "", "", {"a"}, "!227"},
        {"blank early text", "", " \t", {"a"}, "!227"},
        {"nothing in front", "", ";a", {"a"}, "!227"},
        {"nothing between", "", "a;;b", {"a"}, "!227"},
        {"root behind another", "", "a; \\x", {"a"}, "!227"},
        {"colon behind another", "", "a;:b", {"a"}, "!227"},
        {"list of directories", "ab", nullptr, {"c"}, "a"},
        {"early text over the list", "ab", "e", {"c"}, "e"},
        {"mixed list", "aA", nullptr, {"c"}, "!214"},
        {"null path is no directory", "-a", nullptr, {"c"}, "!214"},
        {"list of files", "AB", nullptr, {"c"}, "A"},
        {"what was there is emptied", "O", nullptr, {"c"}, "O"},
        {"a hole in front", "-A", nullptr, {"c"}, "A"},
        {"nothing but holes", "---", nullptr, {"c"}, "!214"},
        {"the first decides alone", "MAB", nullptr, {"c"}, "!214"},
    };
    for (const auto &c : cases) {
        sorting s;
        std::vector<std::string> values;
        for (const std::string &value : c.variables)
            values.push_back(s.text(value));
        const surroundings around(values);
        std::string early = c.early != nullptr ? s.text(c.early) : "";
        if (c.early != nullptr)
            kvrnhook(depositing, early.data());
        if (*c.list != 0)
            s.list(c.list);
        EXPECT_EQ(s.sort(), c.found) << c.what;
    }
#ifndef _WIN32 // which has no variables that long
    sorting s; // a variable that is too long counts as absent
    const surroundings around({std::string(30000, 'x') + std::string(40000, 'y'), s.text("b")});
    EXPECT_EQ(s.sort(), "b");
#endif
    sorting toolong;
    std::string text(70000, 'x');
    kvrnhook(depositing, text.data());
    EXPECT_EQ(toolong.sort(), "!52");
}

TEST(tempfiles, go_or_stay_and_spare_the_input) {
    for (const uint8_t keep : {uint8_t{0}, uint8_t{1}}) {
        sorting s;
        s.prim.tmpopt = keep;
        s.list("a");
        EXPECT_EQ(s.sort(), keep != 0 ? "a" : "");
    }
    for (const bool output : {false, true}) {
        handmade s;
        const tempfolder folder;
        const std::string in = folder.file("in"), out = folder.file("out");
        const std::string &spared = output ? out : in;
        std::string data;
        for (uint32_t i = 0; i < 12000; ++i)
            data += std::to_string(10000000 + i * 7919U % 65521);
        writefile(in, data);
        writefile(out, "older");
        KVRNFLST work = {1, {spared.c_str()}};
        s.prim.memsize = KVRN_MEM_MIN;
        s.infile(in);
        s.outfile(out);
        s.files.workfiles = &work;
        EXPECT_EQ(s.open(), -1);
        EXPECT_EQ(s.sess.detail, uint32_t{KVRN_D_TEMPSPACE});
        EXPECT_EQ(readfile(in), data);
    }
}

#if !defined(_WIN32)

// Files that may not grow: the next place takes over, and the list comes to its end.
TEST(tempfiles, places_in_turn) {
    const struct {
        const char *what, *list;
        rlim_t most; // bytes of a file
        const char *found;
    } cases[] = {
        {"every second path", "ABCDEF", 30000, "ACE!214"},
        {"holes", "A-BC-D", 30000, "ABD!214"},
        {"directories in turn", "abc", 30000, "abc!214"},
        {"not twice the same file", "ABA", 30000, "A!212"},
    };
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    for (const auto &c : cases) {
        sorting s;
        s.list(c.list);
        const rlimit low = {c.most, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &low);
        const std::string found = s.sort();
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(found, c.found) << c.what;
    }
}

#endif

} // namespace
} // namespace kvern::test
