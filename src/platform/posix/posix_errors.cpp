// The translation table.  Where a neighbouring code has a message of its own and
// the obvious one has none, the neighbour is taken, so that the caller learns
// more than "system error".
#include "platform/posix/posix_system.h"

#include <cerrno>

namespace kvern::platform {

namespace {

struct errorrow {
    int error;
    syserror code;
};

constexpr errorrow errorrows[] = {
    {0, 0},
    {ENOENT, err_filenotfound},
    {ENOTDIR, err_pathnotfound},
    {EMFILE, 4}, // too many open files, of the process
    {ENFILE, 4}, // and of the system
    {EACCES, err_accessdenied},
    {EPERM, err_accessdenied},
    {EBADF, 6},
    {ENOMEM, 8},
    {EXDEV, 17},
    {EROFS, 19},
    {ENXIO, 20},
    {ENOMEDIUM, 21},
    {ETXTBSY, 32},
    {EBUSY, 32},
    {EAGAIN, 33},
    {EDEADLK, 33},
    {ENOLCK, 36},
    {EFBIG, err_handlediskfull}, // this file may not grow, another one may
    {EOPNOTSUPP, 50},
    {ENOSYS, 50},
    {EHOSTUNREACH, 51},
    {EHOSTDOWN, 51},
    {EINVAL, 87},
    {EPIPE, 109},
    {EINTR, err_interrupted},
    {ENOSPC, err_diskfull},
    {EDQUOT, err_diskfull},
    {ETIMEDOUT, 121},
    {ESPIPE, 132}, // no positions on this device
    {ELOOP, 161},
    {EEXIST, 183},
    {ENAMETOOLONG, err_nametoolong},
    {EOVERFLOW, 223},
    {EISDIR, err_isdirectory},
    {ESTALE, 1006}, // the file went away beneath the handle
    {EIO, 1117},
    {EREMOTEIO, 1117},
    {ENODEV, 1200},
    {ENETDOWN, 1222},
    {ENETUNREACH, 1222},
    {EBADMSG, 1392},
    {EUCLEAN, 1393}, // the file system's structure is damaged
    {EMEDIUMTYPE, 1785},
};

constexpr syserror err_general = 31;

} // namespace

syserror systemcode(int error) {
    for (const errorrow &row : errorrows)
        if (row.error == error)
            return row.code;
    return err_general;
}

} // namespace kvern::platform
