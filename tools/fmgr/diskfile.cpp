#include "diskfile.h"

#include "cobolfile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#ifdef _WIN32
#include <io.h>
#include <process.h>
#include <share.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace fmgr {

namespace {

constexpr size_t bufferroom = size_t{64} * 1024;
constexpr int attempts = 100; // names that may be taken by others

// ---- the system ------------------------------------------------------------

#ifdef _WIN32

using filestate = struct _stati64;
constexpr int readflags = _O_RDONLY | _O_BINARY | _O_NOINHERIT;
constexpr int createflags = _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
constexpr size_t mostbytes = 1U << 20; // of one call

int openpath(const std::string &path, int flags) {
    return _open(path.c_str(), flags, _S_IREAD | _S_IWRITE);
}
int stateof(int file, filestate *out) {
    return _fstati64(file, out);
}
int stateof(const std::string &path, filestate *out) {
    return _stati64(path.c_str(), out);
}
int64_t seekto(int file, uint64_t position) {
    return _lseeki64(file, static_cast<int64_t>(position), SEEK_SET);
}
int readbytes(int file, void *to, size_t length) {
    return _read(file, to, static_cast<unsigned>(length));
}
int writebytes(int file, const void *from, size_t length) {
    return _write(file, from, static_cast<unsigned>(length));
}
int closefile(int file) {
    return _close(file);
}
int tofile(int file) {
    return _commit(file);
}
bool writable(const std::string &path) {
    return _access(path.c_str(), 2) == 0;
}
std::string realname(const std::string &path) {
    return path;
}
void takemode(int, const filestate &) {}
void removefile(const std::string &path) {
    (void)_unlink(path.c_str());
}
int processnumber() {
    return _getpid();
}
bool replace(const std::string &from, const std::string &to) {
    if (MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    const DWORD error = GetLastError();
    errno = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION ? EACCES : EIO;
    return false;
}

#else

using filestate = struct stat;
// Opening a pipe that has no writer must not wait: it is refused afterwards.
constexpr int readflags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
constexpr int createflags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
constexpr size_t mostbytes = 1U << 30;

int openpath(const std::string &path, int flags) {
    return ::open(path.c_str(), flags, 0666);
}
int stateof(int file, filestate *out) {
    return ::fstat(file, out);
}
int stateof(const std::string &path, filestate *out) {
    return ::stat(path.c_str(), out);
}
off_t seekto(int file, uint64_t position) {
    return ::lseek(file, static_cast<off_t>(position), SEEK_SET);
}
ssize_t readbytes(int file, void *to, size_t length) {
    return ::read(file, to, length);
}
ssize_t writebytes(int file, const void *from, size_t length) {
    return ::write(file, from, length);
}
int closefile(int file) {
    return ::close(file);
}
int tofile(int file) {
    return ::fsync(file);
}
bool writable(const std::string &path) {
    return ::access(path.c_str(), W_OK) == 0;
}
// Of a link the file that it stands for, so that the link stays.
std::string realname(const std::string &path) {
    const std::unique_ptr<char, void (*)(void *)> real(::realpath(path.c_str(), nullptr),
                                                       std::free);
    return real ? real.get() : path;
}
void takemode(int file, const filestate &from) {
    (void)::fchmod(file, from.st_mode & 0777);
}
void removefile(const std::string &path) {
    (void)::unlink(path.c_str());
}
int processnumber() {
    return ::getpid();
}
// The new name is on the disk only with its directory.  A system that cannot bring a
// directory there is no reason to fail.
bool replace(const std::string &from, const std::string &to) {
    if (::rename(from.c_str(), to.c_str()) != 0)
        return false;
    const size_t slash = to.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : to.substr(0, slash + 1);
    const descriptor directory(openpath(folder, readflags));
    if (directory.number() >= 0)
        (void)tofile(directory.number());
    return true;
}

#endif

// ---- the same on all systems -----------------------------------------------

[[noreturn]] void failopen(int code, bool output) {
    switch (code) {
    case ENFILE: // callers know one number for too many open files
        fail(status::failed, EMFILE);
    case ENOENT:
    case ENOTDIR:
        fail(output ? status::failed : status::missing, code);
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
        fail(status::refused, code);
    default:
        fail(status::failed, code);
    }
}

[[noreturn]] void failwrite(int code) {
    const bool full = code == ENOSPC || code == EFBIG;
    fail(full ? status::full : status::failed, code);
}

bool plain(const filestate &state) {
    return (state.st_mode & S_IFMT) == S_IFREG;
}

void seek(int file, uint64_t position) {
    if (seekto(file, position) < 0)
        fail(status::failed, errno);
}

void writeall(int file, const uint8_t *from, size_t length) {
    while (length != 0) {
        const auto count = writebytes(file, from, std::min(length, mostbytes));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            failwrite(count == 0 ? ENOSPC : errno);
        from += count;
        length -= static_cast<size_t>(count);
    }
}

} // namespace

descriptor::~descriptor() {
    (void)close();
}

bool descriptor::close() {
    const int number = held;
    held = -1;
    return number < 0 || closefile(number) == 0;
}

inputfile::inputfile(const std::string &path) {
    const int number = openpath(path, readflags);
    if (number < 0)
        failopen(errno, false);
    file.adopt(number);
    filestate state = {};
    if (stateof(number, &state) != 0)
        fail(status::failed, errno);
    if (!plain(state))
        fail(status::refused, EISDIR);
    bytes = static_cast<uint64_t>(state.st_size);
}

void inputfile::readat(uint64_t position, void *to, size_t length) const {
    seek(file.number(), position);
    auto *out = static_cast<uint8_t *>(to);
    while (length != 0) {
        const auto count = readbytes(file.number(), out, std::min(length, mostbytes));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0) // shorter than it was: somebody cuts it
            fail(status::failed, count == 0 ? 0 : errno);
        out += count;
        length -= static_cast<size_t>(count);
    }
}

void inputfile::next(void *to, size_t length) {
    auto *out = static_cast<uint8_t *>(to);
    while (length != 0) {
        if (used == ahead.size()) {
            ahead.resize(static_cast<size_t>(std::min<uint64_t>(bufferroom, left())));
            used = 0;
            if (ahead.empty())
                fail(status::failed);
            readat(place, ahead.data(), ahead.size());
        }
        const size_t part = std::min(length, ahead.size() - used);
        std::memcpy(out, ahead.data() + used, part);
        used += part;
        place += part;
        out += part;
        length -= part;
    }
}

outputfile::outputfile(const std::string &path) : target(path) {
    static std::atomic<unsigned> number{0};
    filestate state = {};
    const bool exists = stateof(path, &state) == 0;
    if (exists && !plain(state))
        fail(status::refused, EISDIR);
    if (exists && !writable(path))
        failopen(errno, true);
    if (exists)
        target = realname(path);
    for (int i = 0; i < attempts && file.number() < 0; ++i) {
        written =
            target + ".fmgr-" + std::to_string(processnumber()) + "-" + std::to_string(number++);
        file.adopt(openpath(written, createflags));
        if (file.number() < 0 && errno != EEXIST)
            failopen(errno, true);
    }
    if (file.number() < 0)
        fail(status::failed, EEXIST);
    made = true;
    if (exists)
        takemode(file.number(), state);
    waiting.reserve(bufferroom);
}

outputfile::~outputfile() {
    (void)file.close();
    if (made)
        removefile(written);
}

void outputfile::append(const void *from, size_t length) {
    if (waiting.size() + length > bufferroom)
        drain();
    const auto *bytes = static_cast<const uint8_t *>(from);
    if (length >= bufferroom)
        writeall(file.number(), bytes, length);
    else
        waiting.insert(waiting.end(), bytes, bytes + length);
}

void outputfile::drain() {
    writeall(file.number(), waiting.data(), waiting.size());
    waiting.clear();
}

void outputfile::rewrite(uint64_t position, const void *from, size_t length) {
    drain();
    seek(file.number(), position);
    writeall(file.number(), static_cast<const uint8_t *>(from), length);
}

void outputfile::commit() {
    drain();
    if (tofile(file.number()) != 0)
        failwrite(errno);
    if (!file.close())
        failwrite(errno);
    if (!replace(written, target))
        failopen(errno, true);
    made = false;
}

} // namespace fmgr
