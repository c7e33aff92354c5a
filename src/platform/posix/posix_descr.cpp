// Files through descriptors, and the standard streams: errno numbers as they are.
#include "platform/platform.h"
#include "platform/posix/posix_system.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvern::platform {

errnumber opendescr(const char *path, bool for_write, int *out) {
    *out = -1;
    if (path == nullptr)
        return ENOENT;
    const int flags = for_write ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY;
    const int descr = open(path, flags | O_CLOEXEC | O_NOCTTY, 0666);
    if (descr < 0)
        return errno;

    struct stat its;
    int refused = fstat(descr, &its) != 0 ? errno : 0;
    if (refused == 0 && S_ISDIR(its.st_mode))
        refused = EISDIR; // a directory opens for reading
    if (refused != 0) {
        (void)close(descr);
        return refused;
    }
    if (!for_write)
        (void)posix_fadvise(descr, 0, 0, POSIX_FADV_SEQUENTIAL);
    *out = descr;
    return 0;
}

errnumber readdescr(int descr, void *to, uint32_t length, uint32_t *count) {
    return transferin(descr, to, length, count);
}

errnumber writedescr(int descr, const void *from, uint32_t length, uint32_t *count) {
    return transferout(descr, from, length, count);
}

// An interrupted close has closed: repeating it could hit another's descriptor.
errnumber closedescr(int descr) {
    return close(descr) == 0 || errno == EINTR ? 0 : errno;
}

} // namespace kvern::platform
