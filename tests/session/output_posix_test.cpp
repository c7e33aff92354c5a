// Where the command's output goes: what it replaces and what it never touches, who owns
// it, what a killed run leaves, and that a signal ends every wait.
#include "commandrun.h"

#include <chrono>
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace kvern::test;
using namespace std::string_literals;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

constexpr uid_t nobody = 65534;

struct stat statof(const std::string &path) {
    struct stat its = {};
    EXPECT_EQ(stat(path.c_str(), &its), 0) << path;
    return its;
}

// The command as a child of its own, with descriptors that the test holds the ends of.
class child {
  public:
    int input[2] = {-1, -1};
    pid_t process = -1;

    explicit child(const std::vector<std::string> &words, bool pipedin = false) {
        EXPECT_TRUE(!pipedin || pipe2(input, O_CLOEXEC) == 0);
        process = fork();
        if (process == 0)
            become(words);
        if (pipedin)
            close(input[0]);
    }
    ~child() {
        kill(process, SIGKILL);
        closeinput();
        waitpid(process, nullptr, 0);
    }
    child(const child &) = delete;
    child &operator=(const child &) = delete;

    void feed(const std::string &bytes) const {
        EXPECT_EQ(write(input[1], bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    void closeinput() {
        if (input[1] >= 0)
            close(input[1]);
        input[1] = -1;
    }
    // From here on the signal no longer ends the process by itself.
    void awaithandler(int number) const {
        const std::string path = "/proc/" + std::to_string(process) + "/status";
        for (int i = 0; i < 1000; ++i, std::this_thread::sleep_for(10ms)) {
            const std::string status = readfile(path);
            const size_t at = status.find("SigCgt:");
            if (at != std::string::npos &&
                (std::strtoull(status.c_str() + at + 7, nullptr, 16) >> (number - 1) & 1) != 0)
                return;
        }
        ADD_FAILURE() << "signal " << number << " is not caught";
    }
    // The exit code, or minus the signal that ended it; -1000: it did not end.
    int end() {
        int status = 0;
        for (int i = 0; i < 1000; ++i, std::this_thread::sleep_for(10ms))
            if (waitpid(process, &status, WNOHANG) == process)
                return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        return -1000;
    }

  private:
    [[noreturn]] void become(const std::vector<std::string> &words) {
        std::vector<char *> all = {const_cast<char *>(KVERN_COMMAND)};
        for (const std::string &word : words)
            all.push_back(const_cast<char *>(word.c_str()));
        all.push_back(nullptr);
        for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE})
            std::signal(number, SIG_DFL);
        if (input[0] >= 0)
            dup2(input[0], 0);
        const int errors = open("err", O_WRONLY | O_CREAT | O_TRUNC, 0666);
        dup2(errors, 2);
        execv(KVERN_COMMAND, all.data());
        _exit(127);
    }
};

class output : public commandrun {
  protected:
    // By a user whom permissions hold back.
    outcome runheld(const std::string &arguments) {
        const std::string who = geteuid() == 0 ? "setpriv --reuid 65534 --regid 65534 "
                                                 "--clear-groups "
                                               : "";
        const std::string line = who + program + " " + arguments + " > out 2> err";
        const int status = std::system(line.c_str());
        return {exitcode(status), readfile("out"), readfile("err")};
    }
    // A file in a directory where no other can be made, of a user who may write to it.
    static void closedplace(const std::string &bytes) {
        fs::create_directory("shut");
        writefile("shut/f", bytes);
        fs::permissions(".", fs::perms::all);
        if (geteuid() == 0) {
            EXPECT_EQ(chown("shut/f", nobody, nobody), 0);
            EXPECT_EQ(chown("shut", nobody, nobody), 0);
        }
        fs::permissions("shut", fs::perms(0555));
    }
    static void openplace() { fs::permissions("shut", fs::perms::all); }
    size_t entries(const std::string &place) {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(place), fs::directory_iterator()));
    }
};

// ---- in place without room beside --------------------------------------------------

const std::string twovariable = "\0\2b2\0\2a1"s;

struct placecase {
    const char *arguments;
    std::string bytes; // that the file holds
    std::string after; // and then; empty: the same, and the run ends with 5
};

TEST_F(output, without_room_beside_it_is_no_input_and_stays_till_all_is_read) {
    const placecase cases[] = {
        {"sort --variable 10 --framing be16 -k 1,2 -o shut/f shut/f", twovariable, ""},
        {"sort --variable 10 --framing be16 -k 1,2 -o shut/f < shut/f", twovariable, ""},
        {"copy --variable 10 --framing be16 -o shut/f shut/f", twovariable, ""},
        {"merge --variable 10 --framing be16 -r -k 1,2 -o shut/f other shut/f", twovariable, ""},
        {"sort --fixed 2 --header 1 -k 1,1 -o shut/f shut/f", "HHb2a1", ""},
        {"copy --header 1 -o shut/f < shut/f", "h\nb\na\n", ""},
        {"sort -o shut/f twin", "b\na\n", ""}, // a hard link
        {"sort other -o shut/f", "b\na\nmore\n", "y\nz\n"},
        {"copy --fixed 2 --header 1 other -o shut/f", "b\na\n", "z\ny\n"},
        {"merge -r other -o shut/f", "", "z\ny\n"},
        {"sort --fixed 3 -k 1,1 other -o shut/f", "old", "old"}, // a torn record
    };
    for (const placecase &one : cases) {
        SCOPED_TRACE(one.arguments);
        closedplace(one.bytes);
        writefile("other", "z\ny\n");
        const bool linked = std::string(one.arguments).find("twin") != std::string::npos;
        if (linked)
            fs::create_hard_link("shut/f", "twin");
        const ino_t number = statof("shut/f").st_ino;
        const outcome came = runheld(one.arguments);
        EXPECT_EQ(came.code, one.after.empty() ? 5 : one.after == one.bytes ? 3 : 0) << came.err;
        EXPECT_EQ(readfile("shut/f"), one.after.empty() ? one.bytes : one.after);
        EXPECT_EQ(statof("shut/f").st_ino, number);
        EXPECT_EQ(entries("shut"), 1U);
        openplace();
        fs::remove_all("shut");
        fs::remove("twin");
    }
}

TEST_F(output, with_a_long_name_has_a_short_one_beside) {
    for (const size_t length : {size_t{244}, size_t{245}, size_t{255}}) {
        const std::string name(length, 'n');
        fs::create_directory("d");
        writefile("d/" + name, twovariable);
        const std::string variable = "sort --variable 10 --framing be16 -k 1,2 ";
        EXPECT_EQ(run(variable + "-o d/" + name + " d/" + name).code, 0);
        EXPECT_EQ(readfile("d/" + name), "\0\2a1\0\2b2"s);
        EXPECT_EQ(run("copy -o d/" + std::string(length, 'm') + " d/" + name).code, 0);
        EXPECT_EQ(entries("d"), 2U);
        fs::remove_all("d");
    }
}

// ---- what it replaces -----------------------------------------------------------------

TEST_F(output, keeps_owner_links_and_permissions_and_follows_links) {
    fs::create_directory("d");
    writefile("d/f", "b\na\n");
    const bool root = geteuid() == 0; // else the owner is the user anyway
    ASSERT_TRUE(!root || chown("d/f", 12, 13) == 0);
    ASSERT_EQ(chmod("d/f", 06751), 0);
    const struct stat old = statof("d/f");
    EXPECT_EQ(run("sort -o d/f d/f").code, 0);
    struct stat after = statof("d/f");
    EXPECT_EQ(after.st_mode & 07777, 0751U);
    EXPECT_EQ(after.st_uid, old.st_uid);
    EXPECT_EQ(after.st_gid, old.st_gid);

    fs::create_hard_link("d/f", "twin");
    EXPECT_EQ(run("sort -r -o d/f d/f").code, 0);
    EXPECT_EQ(readfile("twin"), "b\na\n");
    EXPECT_EQ(statof("d/f").st_nlink, 2U);

    fs::create_symlink("d/none", "link");
    EXPECT_EQ(run("sort -o link d/f").code, 0);
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(readfile("d/none"), "a\nb\n");
    EXPECT_EQ(entries("d"), 2U);

    // A file of another's in a directory of the user's: written over, or left alone.
    if (!root)
        return;
    fs::permissions(".", fs::perms::all);
    fs::permissions("d", fs::perms::all);
    for (const unsigned mode : {0666U, 0644U}) {
        writefile("d/f", "old\n");
        ASSERT_EQ(chmod("d/f", mode), 0);
        EXPECT_EQ(runheld("sort -o d/f d/none").code, mode == 0666 ? 0 : 5);
        EXPECT_EQ(readfile("d/f"), mode == 0666 ? "a\nb\n" : "old\n");
        EXPECT_EQ(statof("d/f").st_uid, 12U);
        EXPECT_EQ(entries("d"), 2U);
    }
}

TEST_F(output, that_a_standard_stream_is_too_goes_through_it) {
    const std::string lines = "b\na\n";
    writefile("f", lines);
    EXPECT_EQ(run("sort -o /dev/stdout f").out, "a\nb\n");
    EXPECT_EQ(run("sort -o out f").out, "a\nb\n");
    EXPECT_EQ(run("sort -o /dev/stderr f").err, "a\nb\n");
    writefile("log", "x\n");
    for (const char *name : {"/dev/stdout", "log", "/proc/self/fd/1"})
        std::system((program + " sort -o " + name + " f >> log").c_str());
    EXPECT_EQ(readfile("log"), "x\na\nb\na\nb\na\nb\n");
    EXPECT_EQ(std::system((program + " sort -o /dev/null f >&-").c_str()), 0);
    // An input, of which more would come for ever or less than there was.
    for (const char *verb : {"sort", "merge -r", "copy"}) {
        const int status = std::system((program + " " + verb + " f >> f 2> err").c_str());
        EXPECT_EQ(exitcode(status), 5) << readfile("err");
        EXPECT_EQ(readfile("f"), lines);
    }
}

// ---- runs that are ended ---------------------------------------------------------------

TEST_F(output, leaves_nothing_when_the_run_is_killed) {
    fs::create_directory("temp");
    fs::create_directory("d");
    writefile("d/old", "old\n");
    setenv("TMPDIR", "temp", 1);
    const std::vector<std::string> cases[] = {
        {"sort", "-o", "d/old"},
        {"sort", "-o", "d/new"},
        {"merge", "-o", "d/old", "-", "d/old"},
        {"copy", "--fixed", "4", "-o", "d/old"},
        {"copy", "-T", "temp", "--fixed", "4", "-o", "d/old", "--header", "1"},
    };
    for (const auto &words : cases) {
        SCOPED_TRACE(words[0] + words.back());
        child run(words, true);
        run.feed(std::string(3U << 20, 'x').replace(3, 1, "\n"));
        kill(run.process, SIGKILL);
        EXPECT_EQ(run.end(), -SIGKILL);
        EXPECT_EQ(entries("temp"), 0U);
        EXPECT_EQ(entries("d"), 1U);
        EXPECT_EQ(readfile("d/old"), "old\n");
    }
    unsetenv("TMPDIR");
}

TEST_F(output, of_a_run_that_waits_at_a_pipe_ends_with_a_signal) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    writefile("f", std::string(3U << 20, 'x').replace(3, 1, "\n"));
    struct waitcase {
        std::vector<std::string> words;
        bool otherend; // somebody holds it, and neither reads nor writes
    };
    const waitcase cases[] = {
        {{"sort", "pipe"}, false},
        {{"sort", "pipe"}, true},
        {{"sort", "--fixed", "1", "-o", "pipe", "f"}, false},
        {{"sort", "--fixed", "1", "-o", "pipe", "f"}, true},
        {{"copy", "--fixed", "1", "-o", "pipe", "f"}, true},
        {{"merge", "pipe", "-o", "new"}, true},
    };
    for (const waitcase &one : cases)
        for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
            SCOPED_TRACE(one.words[0] + one.words.back() + " " + std::to_string(number));
            const int held = one.otherend ? open("pipe", O_RDWR | O_CLOEXEC) : -1;
            child run(one.words);
            run.awaithandler(number);
            std::this_thread::sleep_for(number == SIGTERM ? 200ms : 50ms);
            kill(run.process, number);
            EXPECT_EQ(run.end(), 130) << readfile("err");
            EXPECT_FALSE(fs::exists("new"));
            if (held >= 0)
                close(held);
        }
}

} // namespace
