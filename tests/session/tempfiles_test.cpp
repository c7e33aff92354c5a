// Where the temporary files of a sort come to lie: the sources of places in their order,
// the places of a list one after the other, what is left alone.
#include "handmade.h"

#include <algorithm>
#include <cstdlib>

#if !defined(_WIN32)
#include <sys/resource.h>
#endif

namespace kvern::test {
namespace {

// An empty one is none.
void setvariable(const char *name, const std::string &value) {
#if defined(_WIN32)
    _putenv((name + ("=" + value)).c_str());
#else
    value.empty() ? unsetenv(name) : setenv(name, value.c_str(), 1);
#endif
}

// Sets the variables, those without a value to none; gives back what they were.
strings swapped(const strings &values) {
    strings before;
    for (const char *name : {"KVERN_TMPDIR", "TEMP", "TMP", "TMPDIR"}) {
        const char *now = std::getenv(name);
        const size_t i = before.size();
        before.emplace_back(now != nullptr ? now : "");
        setvariable(name, i < values.size() ? values[i] : "");
    }
    return before;
}

// A sort of more records than 64 KB hold, whose temporary files stay, in a folder with
// the directories a to f and the file o.
struct sorting : handmade {
    sorting() {
        prim.memsize = KVRN_MEM_MIN;
        prim.tmpopt = KVRN_TMP_KEEP;
        std::filesystem::current_path(std::filesystem::path(file("o")).parent_path());
        for (const char *name : {"a", "b", "c", "d", "e", "f"})
            std::filesystem::create_directory(name);
        writefile("o", "yesterday");
    }
    ~sorting() { std::filesystem::current_path(before); }
    // - is null.
    void list(const strings &paths) {
        workplaces(paths);
        for (size_t i = 0; i < paths.size(); ++i)
            if (paths[i] == "-")
                files.workfiles->path[i] = nullptr;
    }
    // The places that new files are or lie in; "!" and the detail where it failed.
    std::string places() {
        bool good = open() == 0;
        for (const std::string &record : records)
            good = good && put(record) == 0;
        int last = 0;
        if (good && end() == 1)
            (void)getall(&last);
        const std::string failed = last == 1 ? "" : "!" + std::to_string(sess.detail);
        (void)close();
        std::string found;
        for (const auto &entry : std::filesystem::recursive_directory_iterator("."))
            if (entry.is_regular_file() && readfile(entry.path().string()) != "yesterday")
                found += entry.path().string()[2];
        std::sort(found.begin(), found.end());
        return found + failed;
    }

    const strings records = numbered(12000, 12000);

  private:
    const std::filesystem::path before = std::filesystem::current_path();
};

TEST(tempfiles, sources_in_their_order) {
    const std::string manyletters(70000, 'x');
    const struct {
        const char *what;
        strings list;
        const char *early;
        strings variables;
        const char *found;
    } cases[] = {
        {"own variable", {}, nullptr, {"a;b", "c", "d"}, "a"},
        {"the last one", {}, nullptr, {"", "", "d"}, "d"},
        {"bad variable ends the search", {}, nullptr, {"a;", "c", "d"}, "!227"},
        {"blanks in front", {}, nullptr, {" \ta;b"}, "a"},
        {"only the first line", {}, nullptr, {"a\nb;"}, "a"},
#if !defined(_WIN32) // which has no variables that long, and a directory of its own
        {"a long one counts as absent", {}, nullptr, {manyletters, "b"}, "b"},
        {"the system's", {}, nullptr, {"", "", "", " a/"}, "a"},
        {"the system's, too long", {}, nullptr, {"", "", "", manyletters}, "!50"},
#endif
        {"early text", {}, "e;f", {"a"}, "e"},
        {"early text that is none", {}, "\3xx", {"a"}, "a"},
        {"early text, too long", {}, manyletters.c_str(), {"a"}, "!52"},
        {"blank early text", {}, " \t", {"a"}, "!227"},
        {"nothing in front", {}, ";a", {"a"}, "!227"},
        {"nothing between", {}, "a;;b", {"a"}, "!227"},
        {"root behind another", {}, "a; \\x", {"a"}, "!227"},
        {"colon behind another", {}, "a;:b", {"a"}, "!227"},
        {"list of directories", {"a", "b"}, nullptr, {"c"}, "a"},
        {"early text over the list", {"a", "b"}, "e", {"c"}, "e"},
        {"mixed list", {"a", "x"}, nullptr, {"c"}, "!214"},
        {"null path is no directory", {"-", "a"}, nullptr, {"c"}, "!214"},
        {"what was there is emptied", {"o", "x"}, nullptr, {"c"}, "o"},
        {"a hole in front", {"-", "x"}, nullptr, {"c"}, "x"},
        {"nothing but holes", {"-", "-", "-"}, nullptr, {"c"}, "!214"},
        {"the first decides alone", {"none/x", "y", "z"}, nullptr, {"c"}, "!214"},
    };
    for (const auto &c : cases) {
        sorting s;
        const strings before = swapped(c.variables);
        const auto deposit = [](KVRNSESS *sess, void *text) {
            return kvrntmpd(sess, static_cast<const char *>(text)) & 0;
        };
        if (c.early != nullptr)
            kvrnhook(deposit, const_cast<char *>(c.early));
        s.list(c.list);
        EXPECT_EQ(s.places(), c.found) << c.what;
        (void)swapped(before);
    }
}

TEST(tempfiles, spare_the_input_and_the_output) {
    for (const char *spared : {"./in", "./out"}) {
        sorting s;
        writefile("in", joined(s.records));
        writefile("out", "older");
        s.infile("in");
        s.outfile("out");
        s.list({spared});
        EXPECT_EQ(s.open(), -1);
        EXPECT_EQ(s.sess.detail, uint32_t{KVRN_D_TEMPSPACE});
        EXPECT_EQ(readfile("in"), joined(s.records));
    }
}

#if !defined(_WIN32)

// Files that may not grow: the next place takes over, and the list comes to its end.
TEST(tempfiles, places_in_turn) {
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    for (const auto &[list, found] : {std::pair{strings{"u", "-", "v", "w", "-", "x"}, "uvx!214"},
                                      {{"a", "b", "c"}, "abc!214"},
                                      {{"u", "v", "u"}, "u!212"}}) {
        sorting s;
        s.list(list);
        const rlimit low = {30000, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &low);
        EXPECT_EQ(s.places(), found);
        setrlimit(RLIMIT_FSIZE, &before);
    }
}

#endif

} // namespace
} // namespace kvern::test
