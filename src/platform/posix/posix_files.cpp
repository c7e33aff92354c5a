// Files through system handles: here a handle is a descriptor, and every one is
// closed on exec.  Errors leave in the engine's code space.
#include "platform/posix/posix_system.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvern::platform {

namespace {

constexpr int everyopen = O_CLOEXEC | O_NOCTTY;

struct opening {
    int flags;
    mode_t permissions; // before the mask, where the file is made
};

// Indexed by openmode.  An output is opened for writing only, so that it may be a
// pipe or a file that we may not read.  A temporary file is ours alone; the last
// row does not wait for a reader should the name be a pipe's.
constexpr opening openings[] = {
    /* input */ {O_RDONLY, 0},
    /* create */ {O_WRONLY | O_CREAT | O_TRUNC, 0666},
    /* truncate */ {O_WRONLY | O_TRUNC, 0},
    /* tempcreate */ {O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600},
    /* tempreplace */ {O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0600},
    /* tempunnamed, where it takes a name */ {O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600},
};

// A file in the directory of `path`; -1: not here, or not now.
int openedunnamed(const char *path) {
#if defined(O_TMPFILE)
    char directory[PATH_MAX];
    if (splitpath(path, directory) != nullptr)
        return open(directory, O_TMPFILE | O_RDWR | everyopen, 0600);
#endif
    (void)path;
    return -1;
}

// Only a file of the caller's may be something that is waited for.
int opened(const char *path, openmode mode) {
    const opening &how = openings[static_cast<size_t>(mode)];
    const bool temporary = mode >= openmode::tempcreate;
    int descr = mode == openmode::tempunnamed ? openedunnamed(path) : -1;
    if (descr >= 0)
        return descr;
    do
        descr = open(path, how.flags | everyopen, how.permissions);
    while (descr < 0 && errno == EINTR && temporary);
    return descr;
}

// A missing file and a missing directory are two codes; errno has one number.
syserror openfailure(const char *path, int error) {
    char directory[PATH_MAX];
    if (error == ENOENT &&
        (*path == 0 || splitpath(path, directory) == nullptr || !isdirectory(directory)))
        return err_pathnotfound;
    return systemcode(error);
}

// What can be told only once the file is open: a directory opens for reading, and
// what is emptied as a temporary file must be a plain one.
syserror acceptopened(int descr, openmode mode) {
    struct stat its;
    if (mode != openmode::input && mode != openmode::tempreplace)
        return 0;
    if (fstat(descr, &its) != 0)
        return systemcode(errno);
    if (mode == openmode::input) {
        if (S_ISDIR(its.st_mode))
            return err_isdirectory;
        (void)posix_fadvise(descr, 0, 0, POSIX_FADV_SEQUENTIAL);
        return 0;
    }
    if (!S_ISREG(its.st_mode))
        return err_accessdenied;
    return ftruncate(descr, 0) == 0 ? 0 : systemcode(errno);
}

constexpr filepos farthest = INTPTR_MAX;

// One call moves what it likes; `atend` is the error of one that moves nothing.
template <typename Move>
blockmove moveblock(filepos place, uint32_t length, syserror atend, Move move) {
    blockmove result = {0, place <= farthest - length, 0};
    if (!result.placed)
        result.error = err_negativeseek;
    while (result.error == 0 && result.count < length) {
        const ssize_t moved = move(result.count);
        if (moved > 0) {
            result.count += static_cast<uint32_t>(moved);
        } else if (moved == 0) {
            result.error = atend;
            break;
        } else if (errno != EINTR) {
            result.error = systemcode(errno);
        }
    }
    return result;
}

} // namespace

syserror openfile(const char *path, openmode mode, filehandle *out) {
    *out = nofile;
    if (path == nullptr)
        return err_pathnotfound;
    const int descr = opened(path, mode);
    if (descr < 0)
        return openfailure(path, errno);
    const syserror refused = acceptopened(descr, mode);
    if (refused != 0)
        (void)close(descr);
    else
        *out = descr;
    return refused;
}

syserror readfile(filehandle file, void *to, uint32_t length, uint32_t *count) {
    return systemcode(transferin(static_cast<int>(file), to, length, count));
}

syserror writefile(filehandle file, const void *from, uint32_t length, uint32_t *count) {
    return systemcode(transferout(static_cast<int>(file), from, length, count));
}

blockmove readat(filehandle file, filepos place, void *to, uint32_t length) {
    const auto move = [&](uint32_t done) {
        return pread(static_cast<int>(file), static_cast<uint8_t *>(to) + done, length - done,
                     static_cast<off_t>(place + done));
    };
    return moveblock(place, length, 0, move);
}

blockmove writeat(filehandle file, filepos place, const void *from, uint32_t length) {
    const auto move = [&](uint32_t done) {
        return pwrite(static_cast<int>(file), static_cast<const uint8_t *>(from) + done,
                      length - done, static_cast<off_t>(place + done));
    };
    return moveblock(place, length, err_diskfull, move);
}

filepos filelimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur > farthest)
        return farthest;
    return static_cast<filepos>(limit.rlim_cur);
}

// An interrupted close has closed: repeating it could hit another's descriptor.
syserror closefile(filehandle file) {
    return close(static_cast<int>(file)) == 0 || errno == EINTR ? 0 : systemcode(errno);
}

syserror deletefile(const char *path) {
    if (path == nullptr)
        return err_pathnotfound;
    return unlink(path) == 0 ? 0 : systemcode(errno);
}

} // namespace kvern::platform
