// What surrounds a session: environment, settings, libraries, the thread, the
// clock, double-byte characters and the standard streams for messages.
#include "platform/platform.h"
#include "platform/posix/posix_system.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>

namespace kvern::platform {

namespace {

// Indexed by setting.
constexpr const char *settingnames[] = {"KVERN_DLL_NAME", "KVERN_PRODUCT_DIRECTORY"};

constexpr unsigned threadwords = 2;
thread_local void *words[threadwords];

} // namespace

// ---- environment and settings ---------------------------------------------

uint32_t environment(const char *name, char *out, uint32_t room) {
    const char *value = getenv(name);
    if (value == nullptr)
        return 0;
    const size_t length = strlen(value);
    if (length < room)
        memcpy(out, value, length + 1);
    return length > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(length);
}

uint32_t systemdirectory(char *, uint32_t) {
    return 0;
}

bool readsetting(setting which, char (&out)[settingroom]) {
    const char *value = secure_getenv(settingnames[static_cast<size_t>(which)]);
    const size_t length = value == nullptr ? 0 : strlen(value);
    if (length == 0 || length >= settingroom)
        return false;
    memcpy(out, value, length + 1);
    return true;
}

// ---- libraries --------------------------------------------------------------

const char *defaultengine() {
    return nullptr;
}

library loadlibrary(const char *name) {
    return name == nullptr ? nullptr : dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

library loadproduct(const char *directory, const char *name) {
    constexpr char windowsend[] = ".dll";
    constexpr size_t endlength = sizeof windowsend - 1;
    size_t stem = strlen(name);
    if (stem > endlength && strcmp(name + stem - endlength, windowsend) == 0)
        stem -= endlength;
    char path[settingroom + maxpath];
    const int length =
        snprintf(path, sizeof path, "%s%slib%.*s.so", directory != nullptr ? directory : "",
                 directory != nullptr ? "/" : "", static_cast<int>(stem), name);
    return length > 0 && static_cast<size_t>(length) < sizeof path ? loadlibrary(path) : nullptr;
}

symbol findsymbol(library lib, const char *name) {
    return lib == nullptr ? nullptr : reinterpret_cast<symbol>(dlsym(lib, name));
}

void freelibrary(library lib) {
    if (lib != nullptr)
        (void)dlclose(lib);
}

errnumber lasterror() {
    return errno;
}

void clearerror() {
    errno = 0;
}

// ---- thread, clock, characters ------------------------------------------------

bool messageround() {
    return false;
}

void *threadword(unsigned which) {
    return which < threadwords ? words[which] : nullptr;
}

void setthreadword(unsigned which, void *value) {
    if (which < threadwords)
        words[which] = value;
}

syserror currenttime(int64_t *seconds) {
    timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return systemcode(errno);
    *seconds = now.tv_sec;
    return 0;
}

// The lead bytes of Shift-JIS, whatever the locale.
bool leadbyte(uint8_t byte) {
    return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

// ---- messages -----------------------------------------------------------------

// Through the C library's streams, so that the line stands where the host's own
// output would.
void print(stream to, const char *text, uint32_t length) {
    FILE *out = to == stream::output ? stdout : stderr;
    quietwrite quiet;
    if (fwrite(text, 1, length, out) != length || fflush(out) != 0)
        quiet.swallow(errno);
}

} // namespace kvern::platform
