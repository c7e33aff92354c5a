// The door to the system: what an operation promises beyond doing its work.
#include "platform/platform.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>
#else
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#endif

namespace kvern::platform {
namespace {

// Opens and closes again; the result of the open.
syserror opens(const std::string &path, openmode mode) {
    filehandle file = 99;
    const syserror code = openfile(path.c_str(), mode, &file);
    EXPECT_EQ(code == 0, file != nofile);
    EXPECT_TRUE(code != 0 || closefile(file) == 0);
    return code;
}

TEST(platform, open_modes) {
#if defined(_WIN32)
    constexpr syserror directory = 5, temporary = 0, taken = 5;
#else
    constexpr syserror directory = 267, temporary = 183, taken = 183;
#endif
    const struct {
        openmode mode;
        syserror missing, existing, folder;
        const char *after; // content of what was there
    } cases[] = {
        {openmode::input, 2, 0, directory, "old"},
        {openmode::create, 0, 0, directory, ""},
        {openmode::truncate, 2, 0, directory, ""},
        {openmode::tempcreate, 0, temporary, taken, temporary == 0 ? "" : "old"},
        {openmode::tempreplace, 0, 0, directory, ""},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(static_cast<int>(one.mode));
        const test::tempfolder dir;
        test::writefile(dir.file("old"), "old");
        std::filesystem::create_directory(dir.file("dir"));
        EXPECT_EQ(opens(dir.file("missing"), one.mode), one.missing);
        EXPECT_EQ(std::filesystem::exists(dir.file("missing")), one.missing == 0);
        EXPECT_EQ(opens(dir.file("old"), one.mode), one.existing);
        EXPECT_EQ(test::readfile(dir.file("old")), one.after);
        EXPECT_EQ(opens(dir.file("none/file"), one.mode), 3U);
        EXPECT_EQ(opens(dir.file("dir"), one.mode), one.folder);
        EXPECT_EQ(opens("", one.mode), 3U);
    }
}

// A place above 2 GiB, which a signed word of 32 bits does not hold.
TEST(platform, far_places_and_hidden_files) {
    for (const openmode mode : {openmode::tempcreate, openmode::tempunnamed}) {
        const test::tempfolder dir;
        const std::string path = dir.file("temp");
        filehandle file;
        char got[8] = {};
        ASSERT_EQ(openfile(path.c_str(), mode, &file), 0U);
        const bool named = std::filesystem::exists(path);
        EXPECT_TRUE(named || mode == openmode::tempunnamed);
        EXPECT_EQ(writeat(file, 0xC0000000U, "z", 1).count, 1U);
        EXPECT_EQ(readat(file, 0xC0000000U, got, 8).count, 1U);
        EXPECT_EQ(got[0], 'z');
        test::writefile(dir.file("other"), "");
        for (const std::string name : {"temp", "other", "missing"})
            EXPECT_EQ(isopenas(file, dir.file(name).c_str()), name == "temp" && named);
        const bool hidden = hidetemp(file, path.c_str());
        EXPECT_EQ(hidden, !std::filesystem::exists(path));
        EXPECT_EQ(closefile(file), 0U);
        EXPECT_NE(closefile(file), 0U);
        EXPECT_EQ(deletefile(path.c_str()), hidden ? 2U : 0U);
    }
}

TEST(platform, same_path) {
    const test::tempfolder dir;
    test::writefile(dir.file("a"), "");
    test::writefile(dir.file("b"), "");
    std::filesystem::create_hard_link(dir.file("a"), dir.file("hard"));
    std::filesystem::create_directory(dir.file("sub"));
#if defined(_WIN32)
    constexpr bool nocase = true;
#else
    constexpr bool nocase = false;
    std::filesystem::create_directory_symlink(dir.file("sub"), dir.file("softdir"));
    EXPECT_TRUE(samepath(dir.file("sub/new").c_str(), dir.file("softdir/new").c_str()));
#endif
    const std::string endless(10000, 'n');
    const std::tuple<std::string, std::string, bool> cases[] = {
        {"a", "b", false},          {"a", "sub/../a", true}, {"a", "hard", true},
        {"a", "A", nocase},         {"a", "new", false},     {"new", "sub/../new", true},
        {"new", "sub/new", false},  {"new", "NEW", nocase},  {"new", "newer", false},
        {"none/x", "none/x", true}, {"none/x", "x", false},  {endless, endless, true}};
    for (const auto &[a, b, same] : cases)
        for (const auto &[one, other] : {std::pair{a, b}, std::pair{b, a}})
            EXPECT_EQ(samepath(dir.file(one).c_str(), dir.file(other).c_str()), same)
                << one << " " << other;
}

TEST(platform, temporary_names) {
    const test::tempfolder dir;
    const std::string path = dir.path();
    char name[maxpath], other[maxpath];
    EXPECT_NE(tempname(dir.file("none").c_str(), name, sizeof name), 0U);
    EXPECT_NE(tempname(path.c_str(), name, static_cast<uint32_t>(path.size())), 0U);
    EXPECT_EQ(dir.entries(), 0U) << "a name that did not fit left its file";
    ASSERT_EQ(tempname(path.c_str(), name, sizeof name), 0U);
    ASSERT_EQ(tempname(path.c_str(), other, sizeof other), 0U);
    EXPECT_STRNE(name, other);
    EXPECT_EQ(std::filesystem::path(name).parent_path(), path);
}

// At the borders of the room that there is for it.
TEST(platform, environment_and_settings) {
    for (const uint32_t length : {0U, 1U, settingroom - 1, settingroom}) {
        const std::string value(length, 'n');
        char out[settingroom] = "kept";
#if defined(_WIN32)
        SetEnvironmentVariableA("KVERN_DLL_NAME", value.c_str());
#else
        setenv("KVERN_DLL_NAME", value.c_str(), 1);
#endif
        const bool fits = length != 0 && length < settingroom;
        EXPECT_EQ(environment("KVERN_DLL_NAME", out, sizeof out), length);
        EXPECT_TRUE(length == 0 || out == (fits ? value : "kept"));
#if !defined(_WIN32) // where settings do not lie in the environment
        EXPECT_EQ(readsetting(setting::dll_name, out), fits);
        unsetenv("KVERN_DLL_NAME");
#endif
    }
}

#if defined(_WIN32)

// The program's own loop still gets the message that ends it.
TEST(platform, quit_message_stays) {
    PostQuitMessage(7);
    EXPECT_TRUE(messageround());
    EXPECT_TRUE(messageround());
    MSG message;
    ASSERT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(message.wParam, 7U);
    EXPECT_FALSE(messageround());
}

#else

// What a new file may be, that no child inherits it, and that nobody slips another one in
// beneath a temporary name.
TEST(platform, new_files_are_safe) {
    const test::tempfolder dir;
    const mode_t before = umask(027);
    const auto check = [](filehandle descr, mode_t permissions) {
        struct stat its;
        EXPECT_EQ(fstat(static_cast<int>(descr), &its), 0);
        EXPECT_EQ(its.st_mode & 07777, permissions);
        EXPECT_EQ(fcntl(static_cast<int>(descr), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(closefile(descr), 0U);
    };
    test::writefile(dir.file("victim"), "victim");
    std::filesystem::create_symlink(dir.file("victim"), dir.file("link"));
    ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
    filehandle file;
    for (const openmode mode : {openmode::tempcreate, openmode::tempreplace}) {
        const std::string path = dir.file("f" + std::to_string(static_cast<int>(mode)));
        ASSERT_EQ(openfile(path.c_str(), mode, &file), 0U);
        check(file, 0600);
        for (const char *name : {"link", "fifo"})
            EXPECT_NE(opens(dir.file(name), mode), 0U) << name;
    }
    EXPECT_EQ(test::readfile(dir.file("victim")), "victim");
    int descr;
    ASSERT_EQ(openfile(dir.file("handle").c_str(), openmode::create, &file), 0U);
    ASSERT_EQ(opendescr(dir.file("descr").c_str(), true, &descr), 0);
    check(file, 0640);
    check(descr, 0640);
    umask(before);
}

// Nothing but the other end makes a transfer end, though the descriptors do not wait.
TEST(platform, pipes_are_waited_for) {
    constexpr uint32_t much = 1 << 20;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const std::string sent(much, 'x');
    std::string got(much, ' ');
    uint32_t in, out;
    std::thread reader([&] { EXPECT_EQ(readdescr(ends[0], got.data(), much, &in), 0); });
    usleep(20000);
    EXPECT_EQ(writedescr(ends[1], sent.data(), much, &out), 0);
    close(ends[1]);
    reader.join();
    EXPECT_TRUE(got == sent);
    close(ends[0]);
}

// A closed pipe is an error number, whatever the host does with the signal; what
// the host held back before stays for it.
TEST(platform, closed_pipe_raises_no_signal) {
    sigset_t pipesignal, before, pending;
    sigemptyset(&pipesignal);
    sigaddset(&pipesignal, SIGPIPE);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    uint32_t count;
    EXPECT_EQ(writefile(ends[1], "x", 1, &count), 109U);
    pthread_sigmask(SIG_BLOCK, &pipesignal, &before);
    for (const int held : {0, 1}) {
        EXPECT_EQ(writedescr(ends[1], "x", 1, &count), EPIPE);
        sigpending(&pending);
        EXPECT_EQ(sigismember(&pending, SIGPIPE), held);
        if (held == 0)
            raise(SIGPIPE);
    }
    const timespec now = {};
    EXPECT_EQ(sigtimedwait(&pipesignal, nullptr, &now), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
}

#endif

} // namespace
} // namespace kvern::platform
