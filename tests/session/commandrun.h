// The command as a process, in a folder of its own: arguments and input bytes to exit
// code, output bytes and the words of an error.
#pragma once

#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace kvern::test {

struct outcome {
    int code;
    std::string out, err;
};

#if defined(_WIN32)
inline constexpr bool slow = true; // a process under Wine takes half a second
#else
inline constexpr bool slow = false;
#endif

class commandrun : public ::testing::Test {
  protected:
    tempfolder folder;
    std::filesystem::path before;
    std::string program; // quoted for the shell

    void SetUp() override {
        before = std::filesystem::current_path();
        program = '"' + std::filesystem::absolute(KVERN_COMMAND).make_preferred().string() + '"';
        std::filesystem::current_path(folder.path());
    }
    void TearDown() override { std::filesystem::current_path(before); }

    // Runs `kvern arguments` in the folder.  The input comes from a file, or
    // through a pipe.
    outcome run(const std::string &arguments, const std::string &input = "", bool piped = false) {
        writefile("in", input);
        std::string line =
            program + " " + forshell(arguments) + " > out 2> err" + (piped ? "" : " < in");
#if defined(_WIN32)
        line = '"' + line + '"'; // the shell takes the outer pair away
#endif
        const int status = piped ? runpiped(line, input) : std::system(line.c_str());
        return {exitcode(status), readfile("out"), readfile("err")};
    }

    // A dollar is what it is, also between quotes.
    static std::string forshell(std::string arguments) {
#if !defined(_WIN32)
        for (size_t at = 0; (at = arguments.find('$', at)) != std::string::npos; at += 2)
            arguments.insert(at, 1, '\\');
#endif
        return arguments;
    }

    static int exitcode(int status) {
#if defined(_WIN32)
        return status;
#else
        return status >> 8;
#endif
    }

    static int runpiped(const std::string &line, const std::string &input) {
#if defined(_WIN32)
        FILE *pipe = _popen(line.c_str(), "wb");
#else
        std::signal(SIGPIPE, SIG_IGN); // the command may end before its input
        FILE *pipe = popen(line.c_str(), "w");
#endif
        if (!pipe)
            return -1;
        std::fwrite(input.data(), 1, input.size(), pipe);
#if defined(_WIN32)
        return _pclose(pipe);
#else
        return pclose(pipe);
#endif
    }
};

} // namespace kvern::test
