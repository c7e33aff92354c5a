// A file that takes another one's place: what lies in the folder afterwards.
#include "shared/replacefile.h"
#include "support/tempfolder.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kvern::test {

namespace {

constexpr uid_t other = 4321;
const std::string longname(255, 'n');

struct scene {
    const char *title;
    std::string before, path; // a script
    uid_t user;
    int code;
    std::string after{}; // empty: as before
    void (*meanwhile)(const std::string &) = [](const std::string &) {};
};

const scene scenes[] = {
    {"a new name", "rm f", "f", 0, 0, "f 640 0 0 1 new\n"},
    {"owner and mode", "chown 4321:99 f; chmod 4751 f", "f", 0, 0, "f 751 4321 99 1 new\n"},
    {"read-only", "chown 4321:4321 f; chmod 444 f", "f", other, 0, "f 444 4321 4321 1 new\n"},
    {"a dangling link", "ln -sf g f; ln -s ./h g", "f", 0, 0,
     "'f' -> 'g'\n'g' -> './h'\nh 640 0 0 1 new\n"},
    {"a circle", "rm f; ln -s f f", "f", 0, ELOOP},
    {"the longest name", "mv f " + longname, longname, 0, 0, longname + " 644 0 0 1 new\n"},
    {"a folder", "", ".", 0, EISDIR},
    {"no folder", "", "g/f", 0, ENOENT},
    {"an owner not to be given", "chmod 666 f", "f", other, 0, "f 666 0 0 1 new\n"},
    {"the same, not to be written", "chmod 644 f", "f", other, EACCES},
    {"two names", "chown 1:2 f; chmod 4755 f; ln f g", "f", 0, 0,
     "f 755 1 2 2 new\ng 755 1 2 2 new\n"},
    {"a copy that fails", "chown 4321:4321 f; chmod 600 f; ln f g", "f", other, EACCES,
     "f 0 4321 4321 2 older\nf.t-kept- 600 4321 4321 1 new\ng 0 4321 4321 2 older\n",
     [](const std::string &file) { EXPECT_EQ(chmod(file.c_str(), 0), 0); }},
    {"a file that comes", "rm f", "f", 0, 0, "f 604 0 0 1 new\n",
     [](const std::string &file) {
         writefile(file, "old");
         EXPECT_EQ(chmod(file.c_str(), 0604), 0);
     }},
    {"a file that goes", "chmod 604 f", "f", 0, 0, "f 604 0 0 1 new\n",
     [](const std::string &file) { std::filesystem::remove(file); }},
};

// Owners and roots are given by root alone.
struct replacefile : testing::Test {
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only root may";
        ASSERT_EQ(shell("mkdir d; chmod 777 . d"), 0);
    }
    int shell(const std::string &script) {
        return std::system(("cd " + all.path() + "; " + script).c_str());
    }
    // Of a file "name mode owner group links content", of a link where it leads.
    std::string listing() {
        EXPECT_EQ(shell("cd d; for f in $(ls -A); do if [ -h $f ]; then stat -c %N $f; else "
                        "echo $(stat -c '%n %a %u %g %h' $f) $(cat $f); fi; done | sed "
                        "'s/kept-[0-9-]*/kept-/' > ../list"),
                  0);
        return readfile(all.file("list"));
    }
    // Behind a root of its own the process has no names for its descriptors, so the file
    // beside has a name from the start.
    int replacement(const scene &s, bool named) {
        const pid_t child = fork();
        if (child == 0) {
            umask(027);
            const std::string root = named ? "/" : folder + "/";
            const bool inside = (!named || chroot(folder.c_str()) == 0) &&
                                (s.user == 0 || (setgid(s.user) == 0 && setuid(s.user) == 0));
            shared::replacefile file;
            const int code = inside ? file.create(root + s.path, "t").code : 255;
            if (code != 0)
                _exit(code);
            const bool written = write(file.descriptor(), "new", 3) == 3;
            s.meanwhile(root + s.path);
            _exit(written && named != file.name().empty() ? file.commit().code : 254);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const tempfolder all;
    const std::string folder = all.file("d");
};

} // namespace

TEST_F(replacefile, takes_the_place_of_what_was_there) {
    for (const bool named : {false, true})
        for (const scene &s : scenes) {
            SCOPED_TRACE(std::string(s.title) + (named ? ", named" : ""));
            EXPECT_EQ(shell("cd d; rm -f *; echo older > f; " + s.before), 0);
            const std::string before = listing();
            EXPECT_EQ(replacement(s, named), s.code);
            EXPECT_EQ(listing(), s.after.empty() ? before : s.after);
        }
}

// Of all that look like ours only those go that no living process holds.
TEST_F(replacefile, takes_away_what_the_dead_left) {
    const std::string own = "f.t-" + std::to_string(getpid()) + "-1",
                      stay = "f f.t-9 " + own +
                             " f.t-999999999-8 f.t-kept-999999999-1 g.t-999999999-1";
    EXPECT_EQ(shell("cd d; touch f.t-999999999-7 .t-999999998-0 " + stay), 0);
    const int held = open((folder + "/f.t-999999999-8").c_str(), O_RDONLY);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    EXPECT_EQ(replacement({"", "", "f", 0, 0}, true), 0);
    EXPECT_EQ(shell("cd d; [ \"$(ls -A | sort)\" = \"$(ls -d " + stay + " | sort)\" ]"), 0);
    close(held);
}

} // namespace kvern::test
