// A file that takes another one's place: what lies in the folder afterwards.
#include "shared/replacefile.h"
#include "support/tempfolder.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvern::test {

namespace {

namespace fs = std::filesystem;

constexpr uid_t other = 4321;
const std::string longname(255, 'n');

// Of a file "name mode owner group links content", of a link what it says, by their names.
// Numbers of processes are left out of names, the longest is called LONG.
std::string listing(const tempfolder &folder) {
    std::set<std::string> lines;
    for (const auto &entry : fs::directory_iterator(folder.path())) {
        std::string name = entry.path().filename().string();
        if (const size_t mark = name.find(".t-"); mark != std::string::npos)
            name.resize(name.find_first_of("0123456789", mark));
        struct stat state = {};
        EXPECT_EQ(lstat(entry.path().c_str(), &state), 0);
        char about[64];
        std::snprintf(about, sizeof about, " %o %u %u %u ", state.st_mode & 07777, state.st_uid,
                      state.st_gid, static_cast<unsigned>(state.st_nlink));
        lines.insert((name == longname ? "LONG" : name) +
                     (S_ISLNK(state.st_mode) ? " -> " + fs::read_symlink(entry.path()).string()
                                             : about + readfile(entry.path().string())));
    }
    std::string all;
    for (const std::string &line : lines)
        all += (all.empty() ? "" : "; ") + line;
    return all;
}

// Between the writing and the commit.
using change = void (*)(const std::string &file);

void forbid(const std::string &file) {
    EXPECT_EQ(chmod(file.c_str(), 0), 0);
}
void come(const std::string &file) {
    writefile(file, "old");
    EXPECT_EQ(chmod(file.c_str(), 0604), 0);
}
void go(const std::string &file) {
    EXPECT_EQ(unlink(file.c_str()), 0);
}

struct scene {
    const char *title, *before; // as in the listing, but for the links
    std::string path;
    uid_t user;
    int code;
    const char *after = nullptr;  // as before
    const char *second = nullptr; // another name of the file
    change meanwhile = nullptr;
};

const scene scenes[] = {
    {"a new name", "", "f", 0, 0, "f 640 0 0 1 new"},
    {"owner and mode", "f 4751 4321 99 old", "f", 0, 0, "f 751 4321 99 1 new"},
    {"read-only", "f 444 4321 4321 old", "f", other, 0, "f 444 4321 4321 1 new"},
    {"a dangling link", "f -> g; g -> ./h", "f", 0, 0, "f -> g; g -> ./h; h 640 0 0 1 new"},
    {"a link to a file", "f -> g; g 600 1 2 old", "f", 0, 0, "f -> g; g 600 1 2 1 new"},
    {"a circle", "f -> f", "f", 0, ELOOP},
    {"the longest name", "LONG 644 0 0 old", longname, 0, 0, "LONG 644 0 0 1 new"},
    {"a folder", "", ".", 0, EISDIR},
    {"no folder", "", "g/f", 0, ENOENT},
    {"an owner not to be given", "f 666 0 0 older", "f", other, 0, "f 666 0 0 1 new"},
    {"the same, not to be written", "f 644 0 0 old", "f", other, EACCES},
    {"two names", "f 4755 1 2 older", "f", 0, 0, "f 755 1 2 2 new; g 755 1 2 2 new", "g"},
    {"a copy that fails", "f 600 4321 4321 old", "f", other, EACCES,
     "f 0 4321 4321 2 old; f.t-kept- 600 4321 4321 1 new; g 0 4321 4321 2 old", "g", forbid},
    {"a file that comes", "", "f", 0, 0, "f 604 0 0 1 new", nullptr, come},
    {"a file that goes", "f 604 0 0 old", "f", 0, 0, "f 604 0 0 1 new", nullptr, go},
};

void setup(const tempfolder &folder, const scene &s) {
    EXPECT_EQ(chmod(folder.path().c_str(), 0777), 0);
    std::istringstream all(s.before);
    for (std::string line; std::getline(all >> std::ws, line, ';');) {
        std::istringstream words(line);
        std::string name, what, text;
        words >> name >> what;
        const std::string path = folder.file(name == "LONG" ? longname : name);
        if (what == "->") {
            words >> text;
            fs::create_symlink(text, path);
            continue;
        }
        uid_t user = 0;
        gid_t group = 0;
        words >> user >> group >> text;
        writefile(path, text);
        ASSERT_EQ(chown(path.c_str(), user, group), 0);
        ASSERT_EQ(chmod(path.c_str(), static_cast<mode_t>(std::stoul(what, nullptr, 8))), 0);
    }
    if (s.second)
        fs::create_hard_link(folder.file(s.path), folder.file(s.second));
}

// Behind a root of its own the process has no names for its descriptors, so the file
// beside has a name from the start.
int replacement(const tempfolder &folder, const scene &s, bool named) {
    const pid_t child = fork();
    if (child == 0) {
        umask(027);
        const std::string root = named ? "/" : folder.path() + "/";
        const bool inside = (!named || chroot(folder.path().c_str()) == 0) &&
                            (s.user == 0 || (setgid(s.user) == 0 && setuid(s.user) == 0));
        shared::replacefile file;
        int code = inside ? file.create(root + s.path, "t").code : 255;
        if (code == 0 && named != file.name().empty())
            code = write(file.descriptor(), "new", 3) == 3 ? 0 : 254;
        else if (code == 0)
            code = 253;
        if (code == 0 && s.meanwhile)
            s.meanwhile(root + s.path);
        _exit(code != 0 ? code : file.commit().code);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

// Owners and roots are given by root alone.
struct replacefile : testing::Test {
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only root may";
    }
};

TEST_F(replacefile, takes_the_place_of_what_was_there) {
    for (const bool named : {false, true})
        for (const scene &s : scenes) {
            SCOPED_TRACE(std::string(s.title) + (named ? ", named" : ""));
            const tempfolder folder;
            setup(folder, s);
            const std::string before = listing(folder);
            EXPECT_EQ(replacement(folder, s, named), s.code);
            EXPECT_EQ(listing(folder), s.after ? s.after : before);
        }
}

// Of all that look like ours only those go that no living process holds.
TEST_F(replacefile, takes_away_what_the_dead_left) {
    const tempfolder folder;
    const scene s = {"", "f 644 0 0 old", "f", 0, 0};
    const std::string own = "f.t-" + std::to_string(getpid()) + "-1";
    const std::string gone[] = {"f.t-999999999-7", ".t-999999998-0"}, held = "f.t-999999999-8";
    const std::string stay[] = {held, own, "f.t-kept-999999999-1", "f.t-9", "g.t-999999999-1"};
    setup(folder, s);
    for (const std::string &name : {gone[0], gone[1], stay[0], stay[1], stay[2], stay[3], stay[4]})
        writefile(folder.file(name), "");
    const int file = open(folder.file(held).c_str(), O_RDONLY);
    ASSERT_EQ(flock(file, LOCK_EX), 0);
    EXPECT_EQ(replacement(folder, s, true), 0);
    EXPECT_EQ(folder.entries(), std::size(stay) + 1);
    for (const std::string &name : stay)
        EXPECT_TRUE(fs::exists(folder.file(name))) << name;
    EXPECT_EQ(readfile(folder.file("f")), "new");
    close(file);
}

} // namespace kvern::test
