// The door to the system: what an operation promises beyond doing its work.
#include "platform/platform.h"
#include "support/tempfolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>

#if defined(_WIN32)
#include <windows.h>
#else
#include "platform/posix/posix_errors.h"
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
    if (code == 0) {
        EXPECT_EQ(closefile(file), 0u);
    }
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
        EXPECT_EQ(opens(dir.file("none/file"), one.mode), 3u);
        EXPECT_EQ(opens(dir.file("dir"), one.mode), one.folder);
        EXPECT_EQ(opens("", one.mode), 3u);
    }
}

// A place above 2 GiB, which a signed word of 32 bits does not hold.
TEST(platform, far_places_and_hidden_files) {
    const test::tempfolder dir;
    const std::string path = dir.file("temp");
    filehandle file;
    char got[8] = {};
    ASSERT_EQ(openfile(path.c_str(), openmode::tempcreate, &file), 0u);
    EXPECT_EQ(writeat(file, 0xC0000000u, "z", 1).count, 1u);
    EXPECT_EQ(readat(file, 0xC0000000u, got, 8).count, 1u);
    EXPECT_EQ(got[0], 'z');
    test::writefile(dir.file("other"), "");
    EXPECT_TRUE(isopenas(file, path.c_str()));
    EXPECT_FALSE(isopenas(file, dir.file("other").c_str()));
    EXPECT_FALSE(isopenas(file, dir.file("missing").c_str()));
    const bool hidden = hidetemp(path.c_str());
    EXPECT_EQ(hidden, !std::filesystem::exists(path));
    EXPECT_EQ(closefile(file), 0u);
    EXPECT_NE(closefile(file), 0u);
    EXPECT_EQ(deletefile(path.c_str()), hidden ? 2u : 0u);
}

TEST(platform, same_path) {
    const test::tempfolder dir;
    for (const char *name : {"a", "b"})
        test::writefile(dir.file(name), "");
    std::filesystem::create_hard_link(dir.file("a"), dir.file("hard"));
    std::filesystem::create_directory(dir.file("sub"));
#if defined(_WIN32)
    constexpr bool nocase = true;
#else
    constexpr bool nocase = false;
    std::filesystem::create_directory_symlink(dir.file("sub"), dir.file("softdir"));
    EXPECT_TRUE(samepath(dir.file("sub/new").c_str(), dir.file("softdir/new").c_str()));
#endif
    const struct {
        const char *a, *b;
        bool same;
    } cases[] = {{"a", "b", false},          {"a", "sub/../a", true}, {"a", "hard", true},
                 {"a", "A", nocase},         {"a", "new", false},     {"new", "sub/../new", true},
                 {"new", "sub/new", false},  {"new", "NEW", nocase},  {"new", "newer", false},
                 {"none/x", "none/x", true}, {"none/x", "x", false}};
    for (const auto &one : cases) {
        const std::string a = dir.file(one.a), b = dir.file(one.b);
        EXPECT_EQ(samepath(a.c_str(), b.c_str()), one.same) << one.a << " " << one.b;
        EXPECT_EQ(samepath(b.c_str(), a.c_str()), one.same) << one.b << " " << one.a;
    }
    const std::string endless = dir.file(std::string(10000, 'n'));
    EXPECT_TRUE(samepath(endless.c_str(), endless.c_str()));
    EXPECT_FALSE(samepath(nullptr, nullptr));
    EXPECT_FALSE(isdirectory(dir.file("a").c_str()));
    EXPECT_FALSE(isdirectory(nullptr));
}

TEST(platform, temporary_names) {
    const test::tempfolder dir;
    std::set<std::string> names;
    char name[maxpath];
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(tempname(dir.path().c_str(), name, sizeof name), 0u);
        EXPECT_TRUE(names.insert(name).second);
        EXPECT_EQ(std::filesystem::path(name).parent_path(), dir.path());
        EXPECT_EQ(opens(name, openmode::tempcreate), 0u);
    }
    EXPECT_NE(tempname(dir.file("none").c_str(), name, sizeof name), 0u);
    EXPECT_NE(tempname(dir.path().c_str(), name, static_cast<uint32_t>(dir.path().size())), 0u);
    EXPECT_EQ(dir.entries(), 20u) << "a name that did not fit left its file";
    EXPECT_FALSE(tempdirectory(name, 3));
}

void setvariable(const char *name, const char *value) {
#if defined(_WIN32)
    SetEnvironmentVariableA(name, value);
#else
    value == nullptr ? unsetenv(name) : setenv(name, value, 1);
#endif
}

TEST(platform, environment_room) {
    char out[8] = "kept";
    setvariable("KVERN_TEST", "12345678");
    EXPECT_EQ(environment("KVERN_TEST", out, sizeof out), 8u);
    EXPECT_STREQ(out, "kept");
    EXPECT_EQ(environment("KVERN_TEST", nullptr, 0), 8u);
    setvariable("KVERN_TEST", "1234567");
    EXPECT_EQ(environment("KVERN_TEST", out, sizeof out), 7u);
    EXPECT_STREQ(out, "1234567");
    setvariable("KVERN_TEST", nullptr);
    EXPECT_EQ(environment("KVERN_TEST", out, sizeof out), 0u);
}

#if defined(_WIN32)

// The program's own loop still gets the message that ends it.
TEST(platform, quit_message_stays) {
    PostQuitMessage(7);
    EXPECT_TRUE(messageround());
    EXPECT_TRUE(messageround());
    MSG message;
    ASSERT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(message.wParam, 7u);
    EXPECT_FALSE(messageround());
}

#else

TEST(platform, settings_have_a_length) {
    char out[settingroom];
    for (const size_t length : {0u, 1u, settingroom - 1, settingroom}) {
        setvariable("KVERN_DLL_NAME", std::string(length, 'n').c_str());
        EXPECT_EQ(readsetting(setting::dll_name, out), length == 1 || length == settingroom - 1)
            << length;
    }
    setvariable("KVERN_DLL_NAME", nullptr);
}

TEST(platform, error_codes) {
    const std::pair<int, syserror> cases[] = {
        {0, 0},        {ENOENT, 2},   {EACCES, 5},   {EMFILE, 4},  {EROFS, 19},
        {EFBIG, 39},   {ENOSPC, 112}, {EDQUOT, 112}, {EPIPE, 109}, {EEXIST, 183},
        {EISDIR, 267}, {ESPIPE, 132}, {EIO, 1117},   {99999, 31}};
    for (const auto &[error, code] : cases)
        EXPECT_EQ(systemcode(error), code) << error;
}

// What a new file may be, and that no child inherits it.
TEST(platform, permissions_and_inheritance) {
    const test::tempfolder dir;
    const mode_t before = umask(027);
    const auto check = [](int descr, mode_t permissions) {
        struct stat its;
        EXPECT_EQ(fstat(descr, &its), 0);
        EXPECT_EQ(its.st_mode & 07777, permissions);
        EXPECT_EQ(fcntl(descr, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(close(descr), 0);
    };
    filehandle file;
    for (const openmode mode : {openmode::create, openmode::tempcreate, openmode::tempreplace}) {
        const std::string path = dir.file("f" + std::to_string(static_cast<int>(mode)));
        ASSERT_EQ(openfile(path.c_str(), mode, &file), 0u);
        check(static_cast<int>(file), mode == openmode::create ? 0640 : 0600);
    }
    int descr;
    ASSERT_EQ(opendescr(dir.file("d").c_str(), true, &descr), 0);
    check(descr, 0640);
    umask(before);
}

// Nobody slips another file in beneath a temporary name.
TEST(platform, temporary_files_follow_no_link) {
    const test::tempfolder dir;
    test::writefile(dir.file("victim"), "victim");
    std::filesystem::create_symlink(dir.file("victim"), dir.file("link"));
    ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
    for (const openmode mode : {openmode::tempcreate, openmode::tempreplace}) {
        EXPECT_NE(opens(dir.file("link"), mode), 0u);
        EXPECT_NE(opens(dir.file("fifo"), mode), 0u);
    }
    EXPECT_EQ(test::readfile(dir.file("victim")), "victim");
}

// A pipe that does not wait is waited for.
TEST(platform, reads_of_a_pipe_wait) {
    for (const bool byhandle : {false, true}) {
        int ends[2];
        char got = 0;
        uint32_t count = 0;
        ASSERT_EQ(pipe(ends), 0);
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        std::thread feeder([out = ends[1]] {
            usleep(20000);
            EXPECT_EQ(write(out, "x", 1), 1);
        });
        EXPECT_EQ(byhandle ? static_cast<int>(readfile(ends[0], &got, 1, &count))
                           : readdescr(ends[0], &got, 1, &count),
                  0);
        EXPECT_EQ(got, 'x');
        feeder.join();
        close(ends[0]);
        close(ends[1]);
    }
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
    EXPECT_EQ(writefile(ends[1], "x", 1, &count), 109u);
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
