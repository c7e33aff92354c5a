// A command as a process, in a folder of its own: arguments and input bytes to exit code,
// output bytes and the words of an error.
#pragma once

#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace kvern::test {

struct outcome {
    int code;
    std::string out, err;
};

struct runcase {
    std::string arguments, input;
    int code;
    std::string told; // the output, or words of the error
    runcase(std::string words, std::string bytes, int ends, std::string says)
        : arguments(std::move(words)), input(std::move(bytes)), code(ends), told(std::move(says)) {}
    runcase(std::string words, std::string bytes, std::string output)
        : runcase(std::move(words), std::move(bytes), 0, std::move(output)) {}
};

#if defined(_WIN32)
inline constexpr bool wine = true; // where a process takes half a second
#else
inline constexpr bool wine = false;
#endif

class commandrun : public ::testing::Test {
  protected:
    tempfolder folder;
    std::filesystem::path before = std::filesystem::current_path();
    std::string program; // quoted for the shell

    void SetUp() override {
        const auto path = std::filesystem::absolute(KVERN_COMMAND).make_preferred();
        program = '"' + path.string() + '"';
#if !defined(_WIN32)
        setenv("K", path.c_str(), 1);
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // its tracer hangs at a signal
        std::signal(SIGPIPE, SIG_IGN);               // the command may end before its input
#endif
        std::filesystem::current_path(folder.path());
    }
    void TearDown() override {
        std::filesystem::current_path(before);
    }

    // Runs `kvern arguments` in the folder.  The input comes from a file, or through a pipe.
    outcome run(const std::string &arguments, const std::string &input = "", bool piped = false) {
        writefile("in", input);
        std::string line =
            program + " " + forshell(arguments) + " > out 2> err" + (piped ? "" : " < in");
        if (wine)
            line = '"' + line + '"'; // the shell takes the outer pair away
        return ended(piped ? runpiped(line, input) : std::system(line.c_str()));
    }
    // What a shell makes of a line, in which $K is the command.
    outcome shell(const std::string &line) {
        return ended(std::system(("exec > out 2> err; " + line).c_str()));
    }

    // The code it ends with, and words among those it says.
    outcome says(const std::string &arguments, const std::string &input, int code,
                 const std::string &words) {
        outcome got = run(arguments, input);
        EXPECT_EQ(got.code, code) << arguments << got.err;
        EXPECT_NE(got.err.find(words), std::string::npos) << arguments << got.err;
        return got;
    }

    // Each as it stands, its input redirected; under Wine a sample.
    void asgiven(const std::vector<runcase> &cases) {
        for (size_t i = 0; i < cases.size(); i += wine ? 4 : 1)
            ends(cases[i], cases[i].arguments, "standard input", "", false);
    }
    // Each by its name into a file, which may be the input, through a pipe, and some
    // redirected: what fails leaves the file as it was.
    void everyway(const std::vector<runcase> &cases, const std::string &more = "") {
        for (size_t i = 0; i < 3 * cases.size(); i += wine ? 7 : 1) {
            if (i % 3 == 2 && i % 4 != 2)
                continue;
            const runcase &one = cases[i / 3];
            const bool named = i % 3 == 0;
            const bool shown = one.arguments.rfind("check", 0) == 0 || (!named && one.code == 0);
            const std::string made = shown ? "" : i % 2 ? "file" : "old";
            ends(one, one.arguments + more + (shown ? "" : " -o " + made) + (named ? " file" : ""),
                 named ? "file" : "standard input", made, i % 3 == 1);
        }
    }

    // With `input` for IN in the words; `made` is the output's file, if not empty.
    void ends(const runcase &one, const std::string &arguments, const std::string &input,
              const std::string &made, bool piped) {
        SCOPED_TRACE(arguments + (piped ? " in a pipe" : ""));
        writefile("old", "old");
        writefile("file", one.input);
        const outcome got = run(arguments, one.input, piped);
        const std::string output = made.empty() ? got.out : readfile(made);
        EXPECT_EQ(got.code, one.code) << got.err;
        if (one.code == 0) {
            EXPECT_TRUE(output == one.told) << output.substr(0, 999);
            EXPECT_EQ(got.err, "");
            return;
        }
        EXPECT_TRUE(output == (made.empty() ? "" : made == "old" ? "old" : one.input));
        std::string words = one.told;
        for (size_t at; (at = words.find("IN")) != std::string::npos;)
            words.replace(at, 2, input);
        EXPECT_NE(got.err.find(words), std::string::npos) << got.err;
    }

  private:
    // A dollar is what it is, also between quotes.
    static std::string forshell(std::string arguments) {
        for (size_t at = 0; !wine && (at = arguments.find('$', at)) != std::string::npos; at += 2)
            arguments.insert(at, 1, '\\');
        return arguments;
    }
    static outcome ended(int status) {
        std::string words = readfile("err");
        std::erase(words, '\r'); // of a stream of text under Windows
        return {wine ? status : status >> 8, readfile("out"), words};
    }
    static int runpiped(const std::string &line, const std::string &input) {
        FILE *pipe = popen(line.c_str(), wine ? "wb" : "w");
        if (!pipe)
            return -1;
        std::fwrite(input.data(), 1, input.size(), pipe);
        return pclose(pipe);
    }
};

} // namespace kvern::test
