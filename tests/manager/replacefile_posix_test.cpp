// A file that takes another one's place: what lies in the folder afterwards.
#include "shared/replacefile.h"
#include "support/tempfolder.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvern::test {

namespace {

namespace fs = std::filesystem;

constexpr uid_t other = 4321;
const std::string longname(255, 'n');

// Of a file "mode owner group links content", of a link what it says.  Numbers of
// processes are left out of names.
std::map<std::string, std::string> listing(const tempfolder &folder) {
    std::map<std::string, std::string> out;
    for (const auto &entry : fs::directory_iterator(folder.path())) {
        std::string name = entry.path().filename().string();
        if (const size_t mark = name.find(".t-"); mark != std::string::npos)
            name.erase(
                std::find_if(name.begin() + static_cast<ptrdiff_t>(mark), name.end(), isdigit),
                name.end());
        struct stat state = {};
        EXPECT_EQ(lstat(entry.path().c_str(), &state), 0);
        char about[64];
        std::snprintf(about, sizeof about, "%o %u %u %u ", state.st_mode & 07777, state.st_uid,
                      state.st_gid, static_cast<unsigned>(state.st_nlink));
        out[name] = S_ISLNK(state.st_mode) ? "-> " + fs::read_symlink(entry.path()).string()
                                           : about + readfile(entry.path().string());
    }
    return out;
}

struct scene {
    const char *title;
    std::map<std::string, std::string> before; // as in the listing, but for the links
    const char *path;
    uid_t user;
    int code;
    std::map<std::string, std::string> after = {};
    // Between the writing and the commit.
    void (*meanwhile)(const std::string &folder) = nullptr;
    const char *second = nullptr; // another name of the file
};

const scene scenes[] = {
    {"a new name", {}, "f", 0, 0, {{"f", "640 0 0 1 new"}}},
    {"owner and mode", {{"f", "4751 4321 99 old"}}, "f", 0, 0, {{"f", "751 4321 99 1 new"}}},
    {"read-only", {{"f", "444 4321 4321 old"}}, "f", other, 0, {{"f", "444 4321 4321 1 new"}}},
    {"a link that dangles",
     {{"f", "-> g"}, {"g", "-> ./h"}},
     "f",
     0,
     0,
     {{"f", "-> g"}, {"g", "-> ./h"}, {"h", "640 0 0 1 new"}}},
    {"a link to a file",
     {{"f", "-> g"}, {"g", "600 1 2 old"}},
     "f",
     0,
     0,
     {{"f", "-> g"}, {"g", "600 1 2 1 new"}}},
    {"a circle", {{"f", "-> f"}}, "f", 0, ELOOP},
    {"the longest name",
     {{longname, "644 0 0 old"}},
     longname.c_str(),
     0,
     0,
     {{longname, "644 0 0 1 new"}}},
    {"a folder", {}, ".", 0, EISDIR},
    {"no folder", {}, "g/f", 0, ENOENT},
    {"an owner that may not be given",
     {{"f", "666 0 0 older"}},
     "f",
     other,
     0,
     {{"f", "666 0 0 1 new"}}},
    {"the same, not to be written", {{"f", "644 0 0 old"}}, "f", other, EACCES},
    {"two names",
     {{"f", "4755 1 2 older"}},
     "f",
     0,
     0,
     {{"f", "755 1 2 2 new"}, {"g", "755 1 2 2 new"}},
     nullptr,
     "g"},
    {"a copy that fails",
     {{"f", "600 4321 4321 old"}},
     "f",
     other,
     EACCES,
     {{"f", "0 4321 4321 2 old"}, {"g", "0 4321 4321 2 old"}, {"f.t-kept-", "600 4321 4321 1 new"}},
     [](const std::string &folder) { EXPECT_EQ(chmod((folder + "f").c_str(), 0), 0); },
     "g"},
    {"a file that comes",
     {},
     "f",
     0,
     0,
     {{"f", "604 0 0 1 new"}},
     [](const std::string &folder) {
         writefile(folder + "f", "old");
         EXPECT_EQ(chmod((folder + "f").c_str(), 0604), 0);
     }},
    {"a file that goes",
     {{"f", "604 0 0 old"}},
     "f",
     0,
     0,
     {{"f", "604 0 0 1 new"}},
     [](const std::string &folder) { EXPECT_EQ(unlink((folder + "f").c_str()), 0); }},
};

void setup(const tempfolder &folder, const scene &s) {
    EXPECT_EQ(chmod(folder.path().c_str(), 0777), 0);
    for (const auto &[name, what] : s.before) {
        const std::string path = folder.file(name);
        if (what[0] == '-') {
            fs::create_symlink(what.substr(3), path);
            continue;
        }
        unsigned mode = 0, user = 0, group = 0;
        char text[16];
        ASSERT_EQ(std::sscanf(what.c_str(), "%o %u %u %15s", &mode, &user, &group, text), 4);
        writefile(path, text);
        ASSERT_EQ(chown(path.c_str(), user, group), 0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
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
            s.meanwhile(root);
        _exit(code != 0 ? code : file.commit().code);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(replacefile, takes_the_place_of_what_was_there) {
    if (geteuid() != 0)
        GTEST_SKIP() << "owners are given by root alone";
    for (const bool named : {false, true})
        for (const scene &s : scenes) {
            SCOPED_TRACE(std::string(s.title) + (named ? ", named" : ""));
            const tempfolder folder;
            setup(folder, s);
            const auto before = listing(folder);
            EXPECT_EQ(replacement(folder, s, named), s.code);
            EXPECT_EQ(listing(folder), s.after.empty() ? before : s.after);
        }
}

// Of all that look like ours only those go that no living process holds.
TEST(replacefile, takes_away_what_the_dead_left) {
    const tempfolder folder;
    const scene s = {"", {{"f", "644 0 0 old"}}, "f", 0, 0};
    const std::string own = "f.t-" + std::to_string(getpid()) + "-1";
    const std::string gone[] = {"f.t-999999999-7", ".t-999999998-0"}, held = "f.t-999999999-8";
    const std::string stay[] = {held, own, "f.t-kept-999999999-1", "f.t-9", "g.t-999999999-1"};
    if (geteuid() != 0)
        GTEST_SKIP() << "only root may change the root";
    setup(folder, s);
    for (const std::string &name : gone)
        writefile(folder.file(name), "");
    for (const std::string &name : stay)
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
