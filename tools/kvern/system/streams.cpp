#include "kvern/system/streams.h"

#include "kvern/system/failure.h"
#include "kvern/system/signals.h"
#include "shared/filecalls.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#if defined(_WIN32)
#include <io.h>
#include <windows.h>
#else
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace command {

namespace {

// One call moves at most this much; the calls of one system count in int.
constexpr size_t largestmove = size_t{1} << 30;

size_t bounded(size_t length) {
    return length < largestmove ? length : largestmove;
}

#if defined(_WIN32)
using statblock = struct __stat64;
int statpath(const char *path, statblock *out) {
    return _stat64(path, out);
}
int statdescr(int descriptor, statblock *out) {
    return _fstat64(descriptor, out);
}
int openread(const char *path) {
    return _open(path, _O_RDONLY | _O_BINARY);
}
int openwrite(const char *path) {
    return _open(path, _O_WRONLY | _O_BINARY);
}
fileidentity identityof(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION its;
    if (file == INVALID_HANDLE_VALUE || GetFileType(file) != FILE_TYPE_DISK ||
        !GetFileInformationByHandle(file, &its))
        return {};
    return {true, true, its.dwVolumeSerialNumber,
            uint64_t{its.nFileIndexHigh} << 32 | its.nFileIndexLow};
}
bool opentoappend(int) {
    return true; // nothing tells
}
int64_t seek(int descriptor, int64_t to, int whence) {
    return _lseeki64(descriptor, to, whence);
}
int64_t readonce(int descriptor, void *to, size_t room) {
    return _read(descriptor, to, static_cast<unsigned>(room));
}
int64_t writeonce(int descriptor, const void *from, size_t length) {
    return _write(descriptor, from, static_cast<unsigned>(length));
}
#else
using statblock = struct stat;
int statpath(const char *path, statblock *out) {
    return stat(path, out);
}
int statdescr(int descriptor, statblock *out) {
    return fstat(descriptor, out);
}
int openread(const char *path) {
    return open(path, O_RDONLY | O_CLOEXEC);
}
int openwrite(const char *path) {
    return open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY);
}
fileidentity identityof(const struct stat &its) {
    return {true, S_ISREG(its.st_mode) || S_ISBLK(its.st_mode), its.st_dev, its.st_ino};
}
bool opentoappend(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags < 0 || (flags & O_APPEND) != 0;
}
// A standard stream that is closed would lend its number to the next file: one that
// cannot be read or written takes its place.
void fillclosed() {
    constexpr int wrongways[] = {O_WRONLY, O_RDONLY, O_RDONLY};
    for (int descriptor = 0; descriptor < 3; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(open("/dev/null", wrongways[descriptor]));
}
// Fewer, longer turns between the programs on both ends of a pipe.  Where the system
// knows no sizes or the user has used up his share, it stays as it is.
void widenpipe(int descriptor) {
#if defined(F_SETPIPE_SZ)
    constexpr int size = 1 << 20;
    struct stat its;
    if (fstat(descriptor, &its) == 0 && S_ISFIFO(its.st_mode))
        static_cast<void>(fcntl(descriptor, F_SETPIPE_SZ, size));
#else
    static_cast<void>(descriptor);
#endif
}
int64_t seek(int descriptor, int64_t to, int whence) {
    return lseek(descriptor, static_cast<off_t>(to), whence);
}
int64_t readonce(int descriptor, void *to, size_t room) {
    return read(descriptor, to, room);
}
int64_t writeonce(int descriptor, const void *from, size_t length) {
    return write(descriptor, from, length);
}
#endif

filefacts factsof(const statblock &block) {
    const auto mode = block.st_mode & S_IFMT;
    if (mode == S_IFREG)
        return {filesort::regular, static_cast<uint64_t>(block.st_size), ""};
    return {mode == S_IFDIR ? filesort::directory : filesort::stream, 0, ""};
}

// Does what may wait; throws `stopped` where that is wanted meanwhile.
template <class Call>
auto patiently(Call call) {
    for (;;) {
        if (stopwanted())
            throw stopped{};
        const auto result = call();
        if (result >= 0 || (errno != EINTR && !stopwanted()))
            return result;
    }
}

bool isfull(int error) {
#if defined(EDQUOT)
    if (error == EDQUOT)
        return true;
#endif
    return error == ENOSPC || error == EFBIG;
}

} // namespace

#if defined(_WIN32)

void usebinarystreams() {
    _setmode(standardinput, _O_BINARY);
    _setmode(standardoutput, _O_BINARY);
}

fileidentity identify(const std::string &path) {
    const HANDLE file =
        CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    const fileidentity found = identityof(file);
    if (file != INVALID_HANDLE_VALUE)
        CloseHandle(file);
    return found;
}

fileidentity identify(int descriptor) {
    return identityof(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)));
}

size_t freedescriptors(size_t wanted) {
    constexpr size_t most = 480; // of the 512 that the C library opens
    return wanted < most ? wanted : most;
}

bool iswritable(int) {
    return true;
}

bool isterminal(int descriptor) {
    return _isatty(descriptor) != 0;
}

void closeinput(int descriptor) {
    _close(descriptor);
}

#else

void usebinarystreams() {
    fillclosed();
    widenpipe(standardinput);
    widenpipe(standardoutput);
}

fileidentity identify(const std::string &path) {
    struct stat its;
    return stat(path.c_str(), &its) == 0 ? identityof(its) : fileidentity{};
}

fileidentity identify(int descriptor) {
    struct stat its;
    return fstat(descriptor, &its) == 0 ? identityof(its) : fileidentity{};
}

size_t freedescriptors(size_t wanted) {
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return wanted;
    struct pollfd asked[128] = {}; // in one call
    size_t found = 0;
    for (rlim_t first = 0; first < limit.rlim_cur && first < INT_MAX && found < wanted;) {
        size_t count = 0;
        for (; count < std::size(asked) && first < limit.rlim_cur; ++count)
            asked[count].fd = static_cast<int>(first++);
        if (poll(asked, count, 0) < 0)
            return wanted;
        for (size_t i = 0; i < count; ++i)
            found += (asked[i].revents & POLLNVAL) != 0 ? 1 : 0;
    }
    return std::min(found, wanted);
}

bool iswritable(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

bool isterminal(int descriptor) {
    return isatty(descriptor) == 1;
}

void closeinput(int descriptor) {
    close(descriptor);
}

#endif

filefacts inspect(const std::string &path) {
    statblock block;
    if (statpath(path.c_str(), &block) != 0)
        return {filesort::missing, 0, systemerror()};
    return factsof(block);
}

filefacts inspect(int descriptor) {
    statblock block;
    if (statdescr(descriptor, &block) != 0)
        return {filesort::missing, 0, systemerror()};
    filefacts facts = factsof(block);
    if (facts.sort == filesort::regular) {
        const int64_t place = position(descriptor);
        if (place < 0)
            return {filesort::missing, 0, systemerror()};
        facts.size -=
            static_cast<uint64_t>(place) < facts.size ? static_cast<uint64_t>(place) : facts.size;
    }
    return facts;
}

bool isplaceable(int descriptor) {
    return inspect(descriptor).sort == filesort::regular && iswritable(descriptor) &&
           !opentoappend(descriptor);
}

int openinput(const std::string &path) {
    return patiently([&] { return openread(path.c_str()); });
}

int openstream(const std::string &path) {
    return patiently([&] { return openwrite(path.c_str()); });
}

int64_t readsome(int descriptor, void *to, size_t room) {
    return patiently([&] { return readonce(descriptor, to, bounded(room)); });
}

int64_t readplace(int descriptor, uint64_t place, void *to, size_t room) {
    return patiently([&] { return shared::readplace(descriptor, place, to, room); });
}

int64_t position(int descriptor) {
    return seek(descriptor, 0, SEEK_CUR);
}

bool goback(int descriptor, int64_t place) {
    return seek(descriptor, place, SEEK_SET) == place;
}

namespace {

// `write`: a turn of it, the bytes written or -1.
template <class Call>
void writeturns(const std::string &path, const void *from, size_t length, Call write) {
    auto next = static_cast<const char *>(from);
    while (length > 0) {
        const int64_t count = patiently([&] { return write(next, length); });
        if (count < 0 && errno == EPIPE)
            throw stopped{};
        if (count <= 0) // no error and no progress: it takes no more
            failsystem(count == 0 ? ENOSPC : errno, path);
        next += count;
        length -= static_cast<size_t>(count);
    }
}

} // namespace

void writefile(int descriptor, const std::string &path, const void *from, size_t length) {
    writeturns(path, from, length, [descriptor](const char *next, size_t left) {
        return writeonce(descriptor, next, bounded(left));
    });
}

void writeplace(int descriptor, const std::string &path, uint64_t place, const void *from,
                size_t length) {
    writeturns(path, from, length, [descriptor, &place](const char *next, size_t left) {
        const int64_t count = shared::writeplace(descriptor, place, next, left);
        place += count > 0 ? static_cast<uint64_t>(count) : 0;
        return count;
    });
}

void saydirectly(const char *text) {
    size_t left = std::strlen(text);
    int64_t count;
    while (left != 0 && (count = writeonce(standarderror, text, left)) > 0) {
        text += count;
        left -= static_cast<size_t>(count);
    }
}

std::string systemerror() {
    return std::strerror(errno);
}

void failsystem(int code, const std::string &path, const std::string &advice) {
    throw failure{isfull(code) ? ending::room : ending::file, path + ": " + std::strerror(code),
                  advice};
}

} // namespace command
