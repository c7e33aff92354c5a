// A pipe gives and takes what it has room for, so one system call is not one
// transfer.  A descriptor inherited in non-blocking mode is waited for.
#include "platform/posix/posix_system.h"

#include <cerrno>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace kvern::platform {

namespace {

constexpr int raised[] = {SIGPIPE, SIGXFSZ};

// True when the call is worth repeating after the error in errno; else errno tells why
// not, which may be an interruption of the wait.
bool again(int descr, short event) {
    if (errno != EAGAIN)
        return false;
    pollfd wait = {descr, event, 0};
    return poll(&wait, 1, -1) >= 0;
}

} // namespace

quietwrite::quietwrite() {
    sigset_t quiet;
    sigemptyset(&quiet);
    for (const int signal : raised)
        sigaddset(&quiet, signal);
    sigemptyset(&pending);
    pthread_sigmask(SIG_BLOCK, &quiet, &before);
    // Only where the host itself holds them back can one have been waiting.
    for (const int signal : raised)
        if (sigismember(&before, signal) == 1)
            sigpending(&pending);
}

quietwrite::~quietwrite() {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void quietwrite::swallow(int error) {
    const int signal = error == EPIPE ? SIGPIPE : error == EFBIG ? SIGXFSZ : 0;
    if (signal == 0 || sigismember(&pending, signal) == 1)
        return;
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    const timespec now = {};
    while (sigtimedwait(&one, nullptr, &now) < 0 && errno == EINTR) {
    }
}

int transferin(int descr, void *to, uint32_t length, uint32_t *count) {
    auto *next = static_cast<unsigned char *>(to);
    *count = 0;
    while (*count < length) {
        const ssize_t got = read(descr, next + *count, length - *count);
        if (got == 0)
            break;
        if (got > 0)
            *count += static_cast<uint32_t>(got);
        else if (!again(descr, POLLIN))
            return errno;
    }
    return 0;
}

int transferout(int descr, const void *from, uint32_t length, uint32_t *count) {
    const auto *next = static_cast<const unsigned char *>(from);
    quietwrite quiet;
    *count = 0;
    while (*count < length) {
        const ssize_t put = write(descr, next + *count, length - *count);
        if (put > 0) {
            *count += static_cast<uint32_t>(put);
        } else if (put == 0) {
            return ENOSPC; // no error and no progress: the device takes no more
        } else if (!again(descr, POLLOUT)) {
            const int error = errno;
            quiet.swallow(error);
            return error;
        }
    }
    return 0;
}

} // namespace kvern::platform
