// Files through descriptors of the C runtime.  Bytes pass as they are: files are
// opened untranslated, and a standard stream, which the host may use as text, is
// switched over for the one call only.
#include "platform/platform.h"

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace kvern::platform {

namespace {

class untranslated {
  public:
    explicit untranslated(int d) : descr(d), before(_setmode(d, _O_BINARY)) {}
    ~untranslated() {
        if (before != -1 && before != _O_BINARY)
            _setmode(descr, before);
    }
    untranslated(const untranslated &) = delete;
    untranslated &operator=(const untranslated &) = delete;

  private:
    int descr;
    int before; // -1: no such descriptor, which the call after it finds out
};

} // namespace

errnumber opendescr(const char *path, bool for_write, int *out) {
    *out = -1;
    if (path == nullptr)
        return ENOENT;
    *out = for_write ? _open(path, _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY | _O_NOINHERIT,
                             _S_IREAD | _S_IWRITE)
                     : _open(path, _O_RDONLY | _O_BINARY | _O_NOINHERIT);
    return *out == -1 ? errno : 0;
}

errnumber readdescr(int descr, void *to, uint32_t length, uint32_t *count) {
    const untranslated mode(descr);
    auto *next = static_cast<uint8_t *>(to);
    *count = 0;
    while (*count < length) {
        const int got = _read(descr, next + *count, length - *count);
        if (got < 0)
            return errno;
        if (got == 0)
            break;
        *count += static_cast<uint32_t>(got);
    }
    return 0;
}

errnumber writedescr(int descr, const void *from, uint32_t length, uint32_t *count) {
    const untranslated mode(descr);
    const auto *next = static_cast<const uint8_t *>(from);
    *count = 0;
    while (*count < length) {
        const int put = _write(descr, next + *count, length - *count);
        if (put < 0)
            return errno;
        if (put == 0)
            return ENOSPC;
        *count += static_cast<uint32_t>(put);
    }
    return 0;
}

errnumber closedescr(int descr) {
    return _close(descr) == 0 ? 0 : errno;
}

} // namespace kvern::platform
