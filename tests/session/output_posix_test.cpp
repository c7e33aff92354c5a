// Where the command's output goes: what it replaces and what it never touches, who owns
// it, and what a signal leaves.
#include "commandrun.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace kvern::test;
using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

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

// In a directory where no other file can be made, of a user who may write to the one.
TEST_F(output, without_room_beside_it_is_no_input_and_stays_till_all_is_read) {
    const std::vector<runcase> cases = {
        {"sort --variable 10 --framing be16 -k 1,2 -o shut/f < shut/f", "\0\2b2\0\2a1"s, 5, ""},
        {"copy --fixed 2 -o shut/f shut/f", "b2a1", 5, ""},
        {"merge -r -o shut/f other shut/f", "b\na\n", 5, ""},
        {"copy --header 1 -o shut/f < shut/f", "h\nb\na\n", 5, ""},
        {"sort -o shut/f twin", "b\na\n", 5, ""}, // a hard link
        {"sort other -o shut/f", "b\na\nmore\n", "y\nz\n"},
        {"merge -r other -o shut/f", "", "z\ny\n"},
        {"sort --fixed 3 -k 1,1 other -o shut/f", "old", 3, ""}, // a torn record
    };
    for (const runcase &one : cases) {
        SCOPED_TRACE(one.arguments);
        fs::create_directory("shut");
        writefile("shut/f", one.input);
        writefile("other", "z\ny\n");
        const bool linked = one.arguments.ends_with("twin");
        shell((linked ? "ln shut/f twin; " : ""s) +
              "chmod a+rwx . shut; chmod a+rw shut/f; chown -R 65534 shut; chmod a-w shut");
        const std::string number = look("%i", "shut/f");
        EXPECT_EQ(runheld(one.arguments).code, one.code);
        EXPECT_EQ(readfile("shut/f"), one.code == 0 ? one.told : one.input);
        EXPECT_EQ(look("%i", "shut/f"), number);
        EXPECT_EQ(entries("shut"), 1U);
        shell("chmod u+w shut; rm -rf shut twin");
    }
}

// Under a name beside which a longer one is too long.
TEST_F(output, keeps_owner_links_and_permissions_and_follows_links) {
    const std::string file = "d/" + std::string(245, 'f');
    fs::create_directory("d");
    writefile(file, "b\na\n");
    shell("chown 12:13 " + file + "; chmod 6751 " + file);
    const std::string owner = look("%u %g", file);
    EXPECT_EQ(run("sort -o " + file + " " + file).code, 0);
    EXPECT_EQ(look("%u %g", file), owner);
    EXPECT_EQ(look("%a", file), "751\n");

    fs::create_hard_link(file, "twin");
    EXPECT_EQ(run("sort -r -o " + file + " " + file).code, 0);
    EXPECT_EQ(readfile("twin"), "b\na\n");
    EXPECT_EQ(look("%h", file), "2\n");

    fs::create_symlink("d/none", "link");
    EXPECT_EQ(run("sort -o link " + file).code, 0);
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(readfile("d/none"), "a\nb\n");
    EXPECT_EQ(entries("d"), 2U);

    // A file of another's, in a directory of the user's, is written over.
    if (root) {
        shell("chmod 777 . d; echo old > " + file + "; chmod 666 " + file);
        EXPECT_EQ(runheld("sort -o " + file + " d/none").code, 0);
        EXPECT_EQ(readfile(file), "a\nb\n");
        EXPECT_EQ(look("%u %g", file), owner);
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

TEST_F(output, is_left_where_a_signal_comes_or_its_reader_goes) {
    shell("mkfifo pipe");
    writefile("f", std::string(4U << 20, '\n'));
    // The signal comes when the command has said what it does then, and waits.
    const outcome stopped =
        shell("env --default-signal=INT $K sort -o pipe f & "
              "until grep -q 'SigCgt:.*[4-7]..[37bf]$' /proc/$!/status; do :; done; sleep 0.2; "
              "kill -INT $!; timeout 20 tail -s 0.05 --pid=$! -f /dev/null || kill -9 $!; wait $!");
    EXPECT_EQ(stopped.code, 130);
    EXPECT_EQ(stopped.err, "kvern: note: stopped\n");
    for (const std::string verb : {"sort", "merge", "copy"})
        EXPECT_EQ(shell("($K " + verb + " -T . f; echo $? >&2) | head -c 10").err, "130\n") << verb;
}

} // namespace
