// Identity of paths, and names for temporary files.
#include "platform/posix/posix_system.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvern::platform {

namespace {

constexpr char tempprefix[] = "QZ";
constexpr char defaultdirectory[] = "/tmp";

bool sameidentity(const struct stat &a, const struct stat &b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Both paths name nothing yet: would they be made in one place?
bool sameplace(const char *a, const char *b) {
    char directory[PATH_MAX];
    struct stat first, second;
    const char *aname = splitpath(a, directory);
    if (aname == nullptr || stat(directory, &first) != 0)
        return strcmp(a, b) == 0;
    const char *bname = splitpath(b, directory);
    if (bname == nullptr || stat(directory, &second) != 0)
        return false;
    return sameidentity(first, second) && strcmp(aname, bname) == 0;
}

// The name only has to be hard to foretell: what makes the file refuses one that
// is there already.
uint64_t unforeseen() {
    uint64_t bits = 0;
    if (getrandom(&bits, sizeof bits, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof bits))
        return bits;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    bits = static_cast<uint64_t>(now.tv_nsec) ^ static_cast<uint64_t>(now.tv_sec) << 32;
    bits ^= reinterpret_cast<uintptr_t>(&bits) ^ static_cast<uint64_t>(getpid()) << 48;
    return bits * 0x9E3779B97F4A7C15u;
}

} // namespace

const char *splitpath(const char *path, char (&directory)[PATH_MAX]) {
    const char *slash = strrchr(path, '/');
    if (slash == nullptr) {
        memcpy(directory, ".", sizeof ".");
        return path;
    }
    const size_t length = slash == path ? 1 : static_cast<size_t>(slash - path);
    if (length >= PATH_MAX)
        return nullptr;
    memcpy(directory, path, length);
    directory[length] = 0;
    return slash + 1;
}

bool isdirectory(const char *path) {
    struct stat its;
    return path != nullptr && stat(path, &its) == 0 && S_ISDIR(its.st_mode);
}

bool samepath(const char *a, const char *b) {
    if (a == nullptr || b == nullptr)
        return false;
    struct stat first, second;
    const bool afound = stat(a, &first) == 0;
    const bool bfound = stat(b, &second) == 0;
    if (afound && bfound)
        return sameidentity(first, second);
    return !afound && !bfound && sameplace(a, b);
}

bool isopenas(filehandle file, const char *path) {
    struct stat open, named;
    return path != nullptr && fstat(static_cast<int>(file), &open) == 0 &&
           stat(path, &named) == 0 && S_ISREG(named.st_mode) && sameidentity(open, named);
}

syserror tempname(const char *directory, char *out, uint32_t room) {
    struct stat its;
    if (directory == nullptr || stat(directory, &its) != 0 || !S_ISDIR(its.st_mode))
        return err_pathnotfound;
    if (faccessat(AT_FDCWD, directory, W_OK | X_OK, AT_EACCESS) != 0)
        return systemcode(errno);

    constexpr uint32_t digits = 16;
    const size_t length = strlen(directory);
    if (length + 1 + (sizeof tempprefix - 1) + digits + 1 > room)
        return err_nametoolong;
    memcpy(out, directory, length);
    char *next = out + length;
    if (length != 0 && next[-1] != '/')
        *next++ = '/';
    memcpy(next, tempprefix, sizeof tempprefix - 1);
    next += sizeof tempprefix - 1;
    const uint64_t bits = unforeseen();
    for (uint32_t shift = 64; shift != 0; shift -= 4)
        *next++ = "0123456789ABCDEF"[bits >> (shift - 4) & 15];
    *next = 0;
    return 0;
}

bool tempdirectory(char *out, uint32_t room) {
    if (room < sizeof defaultdirectory)
        return false;
    memcpy(out, defaultdirectory, sizeof defaultdirectory);
    return true;
}

bool hidetemp(filehandle file, const char *path) {
    struct stat its;
    const bool unnamed = fstat(static_cast<int>(file), &its) == 0 && its.st_nlink == 0;
    return unnamed || unlink(path) == 0;
}

} // namespace kvern::platform
