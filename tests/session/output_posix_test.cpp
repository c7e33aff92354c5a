// Where the command's output goes: what it replaces and what it never touches, who owns
// it, what a killed run leaves, and that a signal ends every wait.
#include "commandrun.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace kvern::test;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

const std::string twovariable = "\0\2b2\0\2a1"s;
const std::string variable = "sort --variable 10 --framing be16 -k 1,2 ";

class output : public commandrun {
  protected:
    const bool root = geteuid() == 0; // else the owner is the user anyway

    // By a user whom permissions hold back.
    outcome runheld(const std::string &arguments) {
        return shell((root ? "setpriv --reuid 65534 --regid 65534 --clear-groups $K " : "$K ") +
                     arguments);
    }
    std::string look(const std::string &format, const std::string &path) {
        return shell("stat -c '" + format + "' " + path).out;
    }
    static size_t entries(const std::string &place) {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(place), fs::directory_iterator()));
    }
};

struct placecase {
    const char *arguments;
    std::string bytes; // that the file holds
    std::string after; // and then; empty: the same, and the run ends with 5
};

// In a directory where no other file can be made, of a user who may write to the one.
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
        fs::create_directory("shut");
        writefile("shut/f", one.bytes);
        writefile("other", "z\ny\n");
        const bool linked = std::string(one.arguments).find("twin") != std::string::npos;
        shell((linked ? "ln shut/f twin; " : ""s) +
              "chmod a+rwx . shut; chmod a+rw shut/f; chown -R 65534 shut; chmod a-w shut");
        const std::string number = look("%i", "shut/f");
        const outcome came = runheld(one.arguments);
        EXPECT_EQ(came.code, one.after.empty() ? 5 : one.after == one.bytes ? 3 : 0) << came.err;
        EXPECT_EQ(readfile("shut/f"), one.after.empty() ? one.bytes : one.after);
        EXPECT_EQ(look("%i", "shut/f"), number);
        EXPECT_EQ(entries("shut"), 1U);
        shell("chmod u+w shut; rm -rf shut twin");
    }
}

TEST_F(output, with_a_long_name_has_a_short_one_beside) {
    for (const size_t length : {size_t{244}, size_t{245}, size_t{255}}) {
        const std::string name = "d/" + std::string(length, 'n');
        fs::create_directory("d");
        writefile(name, twovariable);
        EXPECT_EQ(run(variable + "-o " + name + " " + name).code, 0);
        EXPECT_EQ(readfile(name), "\0\2a1\0\2b2"s);
        EXPECT_EQ(run("copy -o d/" + std::string(length, 'm') + " " + name).code, 0);
        EXPECT_EQ(entries("d"), 2U);
        fs::remove_all("d");
    }
}

TEST_F(output, keeps_owner_links_and_permissions_and_follows_links) {
    fs::create_directory("d");
    writefile("d/f", "b\na\n");
    shell("chown 12:13 d/f; chmod 6751 d/f");
    const std::string owner = look("%u %g", "d/f");
    EXPECT_EQ(run("sort -o d/f d/f").code, 0);
    EXPECT_EQ(look("%u %g", "d/f"), owner);
    EXPECT_EQ(look("%a", "d/f"), "751\n");

    fs::create_hard_link("d/f", "twin");
    EXPECT_EQ(run("sort -r -o d/f d/f").code, 0);
    EXPECT_EQ(readfile("twin"), "b\na\n");
    EXPECT_EQ(look("%h", "d/f"), "2\n");

    fs::create_symlink("d/none", "link");
    EXPECT_EQ(run("sort -o link d/f").code, 0);
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(readfile("d/none"), "a\nb\n");
    EXPECT_EQ(entries("d"), 2U);

    // A file of another's in a directory of the user's: written over, or left alone.
    for (const auto &[mode, code] : {std::pair("666", root ? 0 : 5), std::pair("644", 5)}) {
        if (!root)
            break;
        shell("chmod 777 . d; echo old > d/f; chmod "s + mode + " d/f");
        EXPECT_EQ(runheld("sort -o d/f d/none").code, code);
        EXPECT_EQ(readfile("d/f"), code == 0 ? "a\nb\n" : "old\n");
        EXPECT_EQ(look("%u %g", "d/f"), owner);
        EXPECT_EQ(entries("d"), 2U);
    }
}

TEST_F(output, that_a_standard_stream_is_too_goes_through_it) {
    writefile("f", "b\na\n");
    writefile("log", "x\n");
    EXPECT_EQ(run("sort -o /dev/stdout f").out, "a\nb\n");
    EXPECT_EQ(run("sort -o out f").out, "a\nb\n");
    EXPECT_EQ(run("sort -o /dev/stderr f").err, "a\nb\n");
    shell("for to in /dev/stdout log /proc/self/fd/1; do $K sort -o $to f >> log; done");
    EXPECT_EQ(readfile("log"), "x\na\nb\na\nb\na\nb\n");
    EXPECT_EQ(shell("$K sort -o /dev/null f >&-").code, 0);
    // An input, of which more would come for ever or less than there was.
    for (const char *verb : {"sort", "merge -r", "copy"}) {
        EXPECT_EQ(shell("$K "s + verb + " f >> f").code, 5);
        EXPECT_EQ(readfile("f"), "b\na\n");
    }
}

// ---- runs that are ended ---------------------------------------------------------------

TEST_F(output, leaves_nothing_when_the_run_is_killed) {
    shell("mkdir temp d; mkfifo pipe; echo old > d/old");
    writefile("data", std::string(3U << 20, 'x').replace(3, 1, "\n"));
    for (const char *arguments :
         {"sort -o d/old", "sort -o d/new", "merge -o d/old - d/old", "copy --fixed 4 -o d/old",
          "copy -T temp --fixed 4 -o d/old --header 1"}) {
        SCOPED_TRACE(arguments);
        const outcome killed = shell("TMPDIR=temp $K "s + arguments +
                                     " < pipe & exec 9> pipe; cat data >&9; kill -9 $!; wait $!");
        EXPECT_EQ(killed.code, 128 + SIGKILL);
        EXPECT_EQ(entries("temp"), 0U);
        EXPECT_EQ(entries("d"), 1U);
        EXPECT_EQ(readfile("d/old"), "old\n");
    }
}

TEST_F(output, of_a_run_that_waits_at_a_pipe_ends_with_a_signal) {
    shell("mkfifo pipe");
    writefile("f", std::string(3U << 20, 'x').replace(3, 1, "\n"));
    const std::string held = "exec 9<>pipe; "; // by one who neither reads nor writes
    for (const auto &[ahead, number, arguments] : {
             std::tuple(""s, "TERM", "sort pipe"),
             {held, "INT", "sort pipe"},
             {held, "HUP", "sort -T . < pipe"},
             {""s, "INT", "sort --fixed 1 -o pipe f"},
             {held, "TERM", "sort --fixed 1 -o pipe f"},
             {held, "HUP", "copy --fixed 1 -o pipe f"},
             {held, "TERM", "merge pipe -o new"},
         }) {
        SCOPED_TRACE(ahead + arguments);
        // The signal comes when the command has said what it does then, and waits.
        const outcome stopped =
            shell(ahead + "env --default-signal=INT $K " + arguments +
                  " & until grep -q 'SigCgt:.*[4-7]..[37bf]$' /proc/$!/status; do :; done; "
                  "sleep 0.2; kill -" +
                  number +
                  " $!; "
                  "timeout 20 tail -s 0.05 --pid=$! -f /dev/null || kill -9 $!; wait $!");
        EXPECT_EQ(stopped.code, 130);
        EXPECT_EQ(stopped.err, "kvern: note: stopped\n");
        EXPECT_FALSE(fs::exists("new"));
    }
    // The reader of the output leaves.
    for (const std::string verb : {"sort", "merge", "copy"}) {
        writefile("f", std::string(4U << 20, '\n'));
        const outcome left = shell("($K " + verb + " -T . f; echo $? >&2) | head -c 10");
        EXPECT_EQ(left.err, "130\n") << verb;
    }
}

} // namespace
