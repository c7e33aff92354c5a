#include "enginecontext.h"
#include "session/workdirs.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace kvern {
namespace {

using test::tempfolder;
using strings = std::vector<std::string>;

strings directories(const qha5ctx &ctx) {
    return strings(ctx.workpaths, ctx.workpaths + (ctx.workpaths ? ctx.workdircount : 0));
}

TEST(workdirs, text_is_cut_at_separators) {
    struct {
        const char *text;
        strings entries; // none: refused with detail 227
    } const cases[] = {
        {"a;b", {"a", "b"}},
        {" \ta;b", {"a", "b"}},
        {"a ; b ", {"a ", " b "}},
        {"a;b\nc;d", {"a", "b"}},
        {"", {}},
        {" \t", {}},
        {";a", {}},
        {"a;", {}},
        {"a;;b", {}},
        {"C:\\a;\\x", {}},
        {"C:\\a; \\x;b", {}},
        {"a;:b", {}},
    };
    for (const auto &c : cases) {
        enginecontext ctx(4096);
        KVRNSESS sess = {};
        strcpy(reinterpret_cast<char *>(ctx.arenanext), c.text);
        const uint8_t *text = ctx.arenanext;
        EXPECT_EQ(parseworkdirs(&ctx, &sess), c.entries.empty() ? -1 : 0) << c.text;
        EXPECT_EQ(sess.detail, c.entries.empty() ? 227U : 0U) << c.text;
        if (c.entries.empty())
            continue;
        EXPECT_EQ(directories(ctx), c.entries) << c.text;
        EXPECT_EQ(ctx.workkind, 'd');
        // Beside what was taken, the text is paid for a second time.
        EXPECT_EQ(ctx.arenanext - text + ctx.arenafree, 4096 - static_cast<long>(strlen(c.text)));
    }
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
    surroundings(const char *own, const char *temp, const char *tmp) {
        const char *const values[] = {own, temp, tmp};
        for (size_t i = 0; i < 3; ++i) {
            const char *now = std::getenv(names[i]);
            before[i] = now ? std::make_unique<std::string>(now) : nullptr;
            setvariable(names[i], values[i]);
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

struct worklist {
    explicit worklist(const strings &paths) : bytes(sizeof(KVRNFLST) + 8 * sizeof(char *)) {
        list()->count = static_cast<uint32_t>(paths.size());
        for (size_t i = 0; i < paths.size(); ++i)
            list()->path[i] = paths[i] == "(null)" ? nullptr : paths[i].c_str();
        files.workfiles = list();
    }
    KVRNFLST *list() { return reinterpret_cast<KVRNFLST *>(bytes.data()); }

    std::vector<char> bytes;
    KVRNFILE files = {};
};

TEST(workdirs, sources_in_their_order) {
    const tempfolder folder;
    const std::string dir = folder.path();
    const std::string dir2 = folder.file("..");
    const std::string file = folder.file("absent");
    struct {
        const char *what;
        strings list;
        const char *early;
        const char *own, *temp, *tmp;
        strings found;
        uint32_t detail;
    } const cases[] = {
        {"own variable", {}, nullptr, "a;b", "c", "d", {"a", "b"}, 0},
        {"empty counts as absent", {}, nullptr, "", "c", "d", {"c"}, 0},
        {"bad variable ends the search", {}, nullptr, "a;", "c", "d", {}, 227},
        {"early text", {}, "e;f", "a", "c", "d", {"e", "f"}, 0},
        {"early text that is none", {}, "\3xx", "a", "c", "d", {"a"}, 0},
        {"empty early text", {}, "", "a", "c", "d", {}, 227},
        {"list of directories", {dir, dir2}, nullptr, "a", nullptr, nullptr, {dir, dir2}, 0},
        {"early text over the list", {dir, dir2}, "e", "a", nullptr, nullptr, {"e"}, 0},
        {"mixed list", {dir, file}, nullptr, "a", nullptr, nullptr, {}, 214},
        {"null path is no directory", {"(null)", dir}, nullptr, "a", nullptr, nullptr, {}, 214},
    };
    for (const auto &c : cases) {
        const surroundings around(c.own, c.temp, c.tmp);
        enginecontext ctx(0x10000);
        ctx.earlydir = c.early;
        KVRNSESS sess = {};
        worklist work(c.list);
        EXPECT_EQ(findworkdirs(&ctx, &sess, &work.files), c.detail == 0 ? 0 : -1) << c.what;
        EXPECT_EQ(sess.detail, c.detail) << c.what;
        if (c.detail == 0) {
            EXPECT_EQ(directories(ctx), c.found) << c.what;
        }
    }
}

TEST(workdirs, texts_that_do_not_fit) {
    const tempfolder folder;
    const strings paths = {folder.path()};
    const auto length = static_cast<uint32_t>(paths[0].size());
    KVRNSESS sess = {};
    enginecontext small(length), tiny(4);
    worklist work(paths);
    EXPECT_EQ(findworkdirs(&small, &sess, &work.files), -1);
    EXPECT_EQ(sess.detail, 52U);
    tiny.earlydir = "abcd";
    EXPECT_EQ(findworkdirs(&tiny, &sess, nullptr), -1);
    EXPECT_EQ(sess.detail, 52U);
    // A variable needs its end and one byte more; else the next is taken.
    const surroundings around(std::string(99, 'x').c_str(), "t", nullptr);
    enginecontext ctx(100);
    EXPECT_EQ(findworkdirs(&ctx, &sess, nullptr), 0);
    EXPECT_EQ(directories(ctx), strings{"t"});
}

} // namespace
} // namespace kvern
