// The door to the system, operation by operation.

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

using namespace kvern;
using namespace kvern::platform;

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
    struct modecase {
        openmode mode;
        syserror missing, existing, nodirectory, directory;
        const char *after; // content of what was there
    };
#if defined(_WIN32)
    const modecase cases[] = {
        {openmode::input, 2, 0, 3, 5, "old"},    {openmode::create, 0, 0, 3, 5, ""},
        {openmode::truncate, 2, 0, 3, 5, ""},    {openmode::tempcreate, 0, 0, 3, 5, ""},
        {openmode::tempreplace, 0, 0, 3, 5, ""},
    };
#else
    const modecase cases[] = {
        {openmode::input, 2, 0, 3, 267, "old"},    {openmode::create, 0, 0, 3, 267, ""},
        {openmode::truncate, 2, 0, 3, 267, ""},    {openmode::tempcreate, 0, 183, 3, 183, "old"},
        {openmode::tempreplace, 0, 0, 3, 267, ""},
    };
#endif
    for (const modecase &one : cases) {
        SCOPED_TRACE(static_cast<int>(one.mode));
        const test::tempfolder dir;
        test::writefile(dir.file("old"), "old");
        std::filesystem::create_directory(dir.file("dir"));
        EXPECT_EQ(opens(dir.file("missing"), one.mode), one.missing);
        EXPECT_EQ(std::filesystem::exists(dir.file("missing")), one.missing == 0);
        EXPECT_EQ(opens(dir.file("old"), one.mode), one.existing);
        EXPECT_EQ(test::readfile(dir.file("old")), one.after);
        EXPECT_EQ(opens(dir.file("none/file"), one.mode), one.nodirectory);
        EXPECT_EQ(opens(dir.file("dir"), one.mode), one.directory);
        EXPECT_EQ(opens("", one.mode), 3u);
    }
}

TEST(platform, read_write_seek) {
    const test::tempfolder dir;
    const std::string path = dir.file("temp");
    filehandle file;
    uint32_t count = 0;
    char got[8] = {};
    ASSERT_EQ(openfile(path.c_str(), openmode::tempcreate, &file), 0u);
    EXPECT_EQ(writefile(file, "abcdef", 6, &count), 0u);
    EXPECT_EQ(count, 6u);
    EXPECT_EQ(seekfile(file, 2), 0u);
    EXPECT_EQ(readfile(file, got, 3, &count), 0u);
    EXPECT_EQ(std::string(got, count), "cde");
    EXPECT_EQ(readfile(file, got, 8, &count), 0u);
    EXPECT_EQ(std::string(got, count), "f");
    EXPECT_EQ(readfile(file, got, 8, &count), 0u);
    EXPECT_EQ(count, 0u);

    // A place above 2 GiB, which a signed word of 32 bits does not hold.
    EXPECT_EQ(seekfile(file, 0xC0000000u), 0u);
    EXPECT_EQ(writefile(file, "z", 1, &count), 0u);
    EXPECT_EQ(seekfile(file, 0xC0000000u), 0u);
    EXPECT_EQ(readfile(file, got, 8, &count), 0u);
    EXPECT_EQ(std::string(got, count), "z");
    EXPECT_EQ(std::filesystem::file_size(path), 0xC0000001u);

    EXPECT_TRUE(isopenas(file, path.c_str()));
    test::writefile(dir.file("other"), "");
    EXPECT_FALSE(isopenas(file, dir.file("other").c_str()));
    EXPECT_FALSE(isopenas(file, dir.file("missing").c_str()));
    EXPECT_FALSE(isopenas(file, dir.path().c_str()));
    const bool hidden = hidetemp(path.c_str());
    EXPECT_EQ(hidden, !std::filesystem::exists(path));
    EXPECT_EQ(closefile(file), 0u);
    EXPECT_NE(closefile(file), 0u);
    EXPECT_EQ(deletefile(path.c_str()), hidden ? 2u : 0u);
    EXPECT_NE(readfile(nofile, got, 1, &count), 0u);
    EXPECT_NE(writefile(nofile, got, 1, &count), 0u);
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
    std::filesystem::create_symlink(dir.file("a"), dir.file("soft"));
    std::filesystem::create_directory_symlink(dir.file("sub"), dir.file("softdir"));
#endif
    const struct {
        const char *a, *b;
        bool same;
    } cases[] = {
        {"a", "a", true},
        {"a", "b", false},
        {"a", "sub/../a", true},
        {"a", "hard", true},
        {"a", "A", nocase},
        {"a", "new", false},
        {"new", "new", true},
        {"new", "sub/../new", true},
        {"new", "sub/new", false},
        {"new", "NEW", nocase},
        {"new", "newer", false},
        {"none/x", "none/x", true},
        {"none/x", "x", false},
#if !defined(_WIN32)
        {"a", "soft", true},
        {"sub/new", "softdir/new", true},
#endif
    };
    for (const auto &one : cases) {
        const std::string a = dir.file(one.a), b = dir.file(one.b);
        EXPECT_EQ(samepath(a.c_str(), b.c_str()), one.same) << one.a << " " << one.b;
        EXPECT_EQ(samepath(b.c_str(), a.c_str()), one.same) << one.b << " " << one.a;
    }
    const std::string endless = dir.file(std::string(10000, 'n'));
    EXPECT_TRUE(samepath(endless.c_str(), endless.c_str()));
    EXPECT_FALSE(samepath(endless.c_str(), dir.file("a").c_str()));
    EXPECT_FALSE(samepath(nullptr, nullptr));

    EXPECT_TRUE(isdirectory(dir.path().c_str()));
    EXPECT_FALSE(isdirectory(dir.file("a").c_str()));
    EXPECT_FALSE(isdirectory(dir.file("none").c_str()));
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
        EXPECT_EQ(std::filesystem::path(name).filename().string().substr(0, 2), "QZ");
        EXPECT_EQ(opens(name, openmode::tempcreate), 0u);
    }
    EXPECT_EQ(dir.entries(), 20u);
    EXPECT_NE(tempname(dir.file("none").c_str(), name, sizeof name), 0u);
    EXPECT_NE(tempname(dir.path().c_str(), name, static_cast<uint32_t>(dir.path().size())), 0u);
    EXPECT_EQ(dir.entries(), 20u) << "a name that did not fit left its file";
    EXPECT_TRUE(tempdirectory(name, sizeof name));
    EXPECT_TRUE(isdirectory(name));
    EXPECT_FALSE(tempdirectory(name, 3));
}

void setvariable(const char *name, const char *value) {
#if defined(_WIN32)
    SetEnvironmentVariableA(name, value);
#else
    if (value == nullptr)
        unsetenv(name);
    else
        setenv(name, value, 1);
#endif
}

TEST(platform, environment_room) {
    char out[8];
    EXPECT_EQ(environment("KVERN_UNSET", out, sizeof out), 0u);
    setvariable("KVERN_TEST", "");
    EXPECT_EQ(environment("KVERN_TEST", out, sizeof out), 0u);
    setvariable("KVERN_TEST", "12345678");
    strcpy(out, "kept");
    EXPECT_EQ(environment("KVERN_TEST", out, sizeof out), 8u);
    EXPECT_STREQ(out, "kept");
    EXPECT_EQ(environment("KVERN_TEST", nullptr, 0), 8u);
    setvariable("KVERN_TEST", "1234567");
    EXPECT_EQ(environment("KVERN_TEST", out, sizeof out), 7u);
    EXPECT_STREQ(out, "1234567");
    setvariable("KVERN_TEST", nullptr);
}

// The setting as an installation makes it; false: not allowed to.
bool install(const std::string *value) {
#if defined(_WIN32)
    HKEY key;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Norvala\\KvernPlus", 0, nullptr, 0,
                        KEY_SET_VALUE, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return false;
    if (value == nullptr)
        RegDeleteValueA(key, "DLL_Name");
    else
        RegSetValueExA(key, "DLL_Name", 0, REG_SZ, reinterpret_cast<const BYTE *>(value->c_str()),
                       static_cast<DWORD>(value->size() + 1));
    RegCloseKey(key);
#else
    setvariable("KVERN_DLL_NAME", value ? value->c_str() : nullptr);
#endif
    return true;
}

TEST(platform, settings) {
    char out[settingroom];
    if (readsetting(setting::dll_name, out) || !install(nullptr))
        GTEST_SKIP() << "this machine has the setting, or does not let it be made";
    for (const size_t length : {0u, 1u, 254u, 255u, 256u, 300u}) {
        const std::string value(length, 'n');
        ASSERT_TRUE(install(&value));
        EXPECT_EQ(readsetting(setting::dll_name, out), length != 0 && length <= 255) << length;
        if (length != 0 && length <= 255) {
            EXPECT_EQ(out, value);
        }
    }
    EXPECT_TRUE(install(nullptr));
    EXPECT_FALSE(readsetting(setting::dll_name, out));
}

TEST(platform, surroundings) {
    int64_t now = 0;
    EXPECT_TRUE(currenttime(&now));
    EXPECT_GT(now, 1700000000);
    EXPECT_EQ(loadlibrary("no-such-library-of-ours"), nullptr);
    EXPECT_EQ(findsymbol(nullptr, "kvrnopen"), nullptr);
    freelibrary(nullptr);
    while (messageround()) {
    }
    int word = 0;
    for (const unsigned which : {0u, 1u}) {
        EXPECT_EQ(threadword(which), nullptr);
        setthreadword(which, &word);
        EXPECT_EQ(threadword(which), &word);
#if !defined(_WIN32)
        std::thread([which] { EXPECT_EQ(threadword(which), nullptr); }).join();
#endif
        setthreadword(which, nullptr);
    }
    EXPECT_EQ(threadword(2), nullptr);
    setthreadword(2, &word);
}

#if defined(_WIN32)

// The program's own loop still gets the message that ends it.
TEST(platform, quit_message_stays) {
    PostQuitMessage(7);
    EXPECT_TRUE(messageround());
    EXPECT_TRUE(messageround());
    MSG message;
    ASSERT_TRUE(PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(message.message, static_cast<UINT>(WM_QUIT));
    EXPECT_EQ(message.wParam, 7u);
    EXPECT_FALSE(messageround());
}

#else

TEST(platform, error_codes) {
    const struct {
        int error;
        syserror code;
    } cases[] = {{0, 0},        {ENOENT, 2},   {EACCES, 5},   {EMFILE, 4},  {EROFS, 19},
                 {EFBIG, 39},   {ENOSPC, 112}, {EDQUOT, 112}, {EPIPE, 109}, {EEXIST, 183},
                 {EISDIR, 267}, {ESPIPE, 132}, {EIO, 1117},   {99999, 31}};
    for (const auto &one : cases)
        EXPECT_EQ(systemcode(one.error), one.code);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(seekfile(ends[0], 0), 132u);
    EXPECT_EQ(seekfile(ends[0], ~filepos{0}), 131u);
    close(ends[0]);
    close(ends[1]);
}

// What a new file may be, and that no child inherits it.
TEST(platform, permissions_and_inheritance) {
    const test::tempfolder dir;
    const mode_t before = umask(027);
    const struct {
        openmode mode;
        mode_t permissions;
    } cases[] = {
        {openmode::create, 0640}, {openmode::tempcreate, 0600}, {openmode::tempreplace, 0600}};
    for (const auto &one : cases) {
        const std::string path = dir.file("f" + std::to_string(static_cast<int>(one.mode)));
        filehandle file;
        ASSERT_EQ(openfile(path.c_str(), one.mode, &file), 0u);
        struct stat its;
        ASSERT_EQ(stat(path.c_str(), &its), 0);
        EXPECT_EQ(its.st_mode & 07777, one.permissions);
        EXPECT_EQ(fcntl(static_cast<int>(file), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(closefile(file), 0u);
    }
    int descr;
    ASSERT_EQ(opendescr(dir.file("d").c_str(), true, &descr), 0);
    struct stat its;
    ASSERT_EQ(fstat(descr, &its), 0);
    EXPECT_EQ(its.st_mode & 07777, 0640u);
    EXPECT_EQ(fcntl(descr, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(closedescr(descr), 0);
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
    EXPECT_EQ(writedescr(ends[1], "x", 1, &count), EPIPE);

    pthread_sigmask(SIG_BLOCK, &pipesignal, &before);
    EXPECT_EQ(writedescr(ends[1], "x", 1, &count), EPIPE);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    raise(SIGPIPE);
    EXPECT_EQ(writedescr(ends[1], "x", 1, &count), EPIPE);
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 1);
    const timespec now = {};
    EXPECT_EQ(sigtimedwait(&pipesignal, nullptr, &now), SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(ends[1]);
}

#endif

} // namespace
