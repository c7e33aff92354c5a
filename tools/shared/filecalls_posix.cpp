#include "filecalls.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace shared {

const bool strictrename = false;

namespace {

constexpr size_t mostbytes = size_t{1} << 30; // of one call
constexpr int mostlinks = 40;                 // as many as the system follows

template <class routine>
int again(routine call) {
    for (;;)
        if (call() == 0)
            return 0;
        else if (errno != EINTR)
            return errno;
}

// Opens wait on some file systems, and signals come meanwhile.
int openpath(const std::string &path, int flags, uint32_t mode = 0) {
    for (;;) {
        const int file = ::open(path.c_str(), flags, mode);
        if (file >= 0 || errno != EINTR)
            return file;
    }
}

bool isthere(const std::string &path) {
    struct stat state;
    return ::lstat(path.c_str(), &state) == 0;
}

bool samefile(int file, const std::string &path) {
    struct stat one, other;
    return ::fstat(file, &one) == 0 && ::stat(path.c_str(), &other) == 0 &&
           one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// A name that opens an open file in this process.
bool reachable(int file, std::string *way) {
    const std::string name = "/proc/self/fd/" + std::to_string(file);
    if (!samefile(file, name))
        return false;
    *way = name;
    return true;
}

// The process of a name that goes on with it, '-' and a number; 0: it does not.
pid_t makerof(const char *rest) {
    char *end = nullptr;
    const unsigned long process = std::strtoul(rest, &end, 10);
    if (*rest < '1' || *rest > '9' || *end != '-' || process > INT_MAX)
        return 0;
    const std::string number = end + 1;
    const bool digits = number.find_first_not_of("0123456789") == std::string::npos;
    return digits && !number.empty() ? static_cast<pid_t>(process) : 0;
}

// A process may be one of another host or container: it holds its lock all the same.
void removeunheld(const std::string &path) {
    const int file = openpath(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0)
        return;
    struct stat state;
    if (::fstat(file, &state) == 0 && S_ISREG(state.st_mode) &&
        ::flock(file, LOCK_EX | LOCK_NB) == 0)
        (void)::unlink(path.c_str());
    (void)::close(file);
}

} // namespace

int lookat(const std::string &path, filestate *out) {
    struct stat state;
    *out = {};
    if (::stat(path.c_str(), &state) != 0)
        return errno == ENOENT ? 0 : errno;
    out->found = true;
    out->plain = S_ISREG(state.st_mode);
    out->folder = S_ISDIR(state.st_mode);
    out->mode = state.st_mode;
    out->user = state.st_uid;
    out->group = state.st_gid;
    out->links = state.st_nlink;
    return 0;
}

int followlinks(std::string *path) {
    for (int i = 0; i < mostlinks; ++i) {
        char behind[PATH_MAX];
        const ssize_t length = ::readlink(path->c_str(), behind, sizeof behind);
        if (length < 0)
            return errno == EINVAL || (errno == ENOENT && !path->empty()) ? 0 : errno;
        if (static_cast<size_t>(length) == sizeof behind)
            return ENAMETOOLONG;
        const std::string to(behind, static_cast<size_t>(length));
        *path = to.front() == '/' ? to : folderof(*path) + to;
    }
    return ELOOP;
}

std::string folderof(const std::string &path) {
    return path.substr(0, path.rfind('/') + 1); // npos + 1 is 0
}

int createfile(const std::string &path, uint32_t mode) {
    return openpath(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
}

int createpassing(const std::string &path, uint32_t mode) {
    const int file = createfile(path, mode);
    if (file < 0 || ::unlink(path.c_str()) == 0)
        return file;
    const int code = errno;
    (void)::close(file);
    errno = code;
    return -1;
}

int createunnamed(const std::string &path, uint32_t mode, std::string *way) {
#if defined(O_TMPFILE)
    const std::string folder = folderof(path) + ".";
    const int file = openpath(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    if (file < 0)
        return -1;
    if (reachable(file, way))
        return file;
    (void)::close(file);
#else
    static_cast<void>(path), static_cast<void>(mode), static_cast<void>(way);
#endif
    errno = ENOSYS;
    return -1;
}

int linkunnamed(const std::string &way, const std::string &path) {
    return again(
        [&] { return ::linkat(AT_FDCWD, way.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW); });
}

// Opening a pipe that has no writer must not wait.
int openplain(const std::string &path, uint64_t *size) {
    const int file = openpath(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return -1;
    struct stat state;
    int code = ::fstat(file, &state) == 0 ? 0 : errno;
    if (code == 0 && !S_ISREG(state.st_mode))
        code = S_ISDIR(state.st_mode) ? EISDIR : EINVAL;
    if (code == 0) {
        *size = static_cast<uint64_t>(state.st_size);
        return file;
    }
    (void)::close(file);
    errno = code;
    return -1;
}

int openagain(const std::string &path) {
    return openpath(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW);
}

int openover(const std::string &path) {
    return openpath(path, O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
}

int64_t readonce(int file, void *to, size_t room) {
    for (;;) {
        const ssize_t count = ::read(file, to, std::min(room, mostbytes));
        if (count >= 0 || errno != EINTR)
            return count;
    }
}

int64_t readplace(int file, uint64_t place, void *to, size_t room) {
    return ::pread(file, to, std::min(room, mostbytes), static_cast<off_t>(place));
}

int64_t writeplace(int file, uint64_t place, const void *from, size_t length) {
    return ::pwrite(file, from, std::min(length, mostbytes), static_cast<off_t>(place));
}

int writeall(int file, const void *from, size_t length) {
    const char *at = static_cast<const char *>(from);
    while (length != 0) {
        const ssize_t count = ::write(file, at, std::min(length, mostbytes));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count == 0 ? ENOSPC : errno;
        at += count;
        length -= static_cast<size_t>(count);
    }
    return 0;
}

int seekto(int file, uint64_t position) {
    return ::lseek(file, static_cast<off_t>(position), SEEK_SET) < 0 ? errno : 0;
}

int cutto(int file, uint64_t length) {
    return again([&] { return ::ftruncate(file, static_cast<off_t>(length)); });
}

// An interrupted close has closed.
int closefile(int file) {
    return ::close(file) == 0 || errno == EINTR ? 0 : errno;
}

int flushfile(int file) {
    const int other = ::fcntl(file, F_DUPFD_CLOEXEC, 0);
    return other < 0 ? errno : closefile(other);
}

int syncfile(int file) {
    return again([&] { return ::fsync(file); });
}

int syncfolder(const std::string &path) {
    const std::string folder = folderof(path) + ".";
    const int file = openpath(folder, O_RDONLY | O_CLOEXEC | O_DIRECTORY);
    if (file < 0) // it may be written and not be read
        return errno == EACCES ? 0 : errno;
    const int code = syncfile(file);
    (void)::close(file);
    return code == EINVAL || code == ENOTSUP || code == EROFS ? 0 : code;
}

int giveowner(int file, const filestate &as) {
    struct stat state;
    if (::fstat(file, &state) != 0)
        return errno;
    if (state.st_uid == as.user && state.st_gid == as.group)
        return 0;
    return again([&] { return ::fchown(file, as.user, as.group); });
}

int givemode(int file, uint32_t mode) {
    return again([&] { return ::fchmod(file, mode); });
}

int maywrite(const std::string &path) {
    return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ? 0 : errno;
}

int replaceby(const std::string &from, const std::string &to) {
    return again([&] { return ::rename(from.c_str(), to.c_str()); });
}

// Not all file systems have a rename that replaces nothing.
int renamefile(const std::string &from, const std::string &to) {
#if defined(RENAME_NOREPLACE)
    const int code = again([&] {
        return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    });
    if (code == EIO && isthere(to) && !isthere(from)) // a server that lost its answer
        return 0;
    if (code != EINVAL && code != ENOSYS)
        return code;
#endif
    if (isthere(to))
        return EEXIST;
    return replaceby(from, to);
}

int removefile(const std::string &path) {
    return ::unlink(path.c_str()) == 0 ? 0 : errno;
}

// File systems without locks have no dead files taken away either.
int claimfile(int file, bool named) {
    struct stat state;
    if (::flock(file, LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? EAGAIN : 0;
    return named && ::fstat(file, &state) == 0 && state.st_nlink == 0 ? EAGAIN : 0;
}

void removedead(const std::string &prefix) {
    const std::string folder = folderof(prefix), start = prefix.substr(folder.size());
    DIR *all = ::opendir((folder + ".").c_str());
    if (all == nullptr)
        return;
    while (const dirent *each = ::readdir(all)) {
        const std::string name = each->d_name;
        if (name.compare(0, start.size(), start) != 0)
            continue;
        const pid_t maker = makerof(name.c_str() + start.size());
        if (maker != 0 && ::kill(maker, 0) != 0 && errno == ESRCH)
            removeunheld(folder + name);
    }
    (void)::closedir(all);
}

unsigned processnumber() {
    return static_cast<unsigned>(::getpid());
}

} // namespace shared
