// What surrounds a session: environment, settings, libraries, messages of the
// thread's queue, the clock, double-byte characters and the standard streams.
#include "platform/win32/win32_system.h"

#include <cerrno>
#include <cstring>
#include <ctime>

namespace kvern::platform {

namespace {

struct registryvalue {
    const char *key;
    REGSAM access;
    const char *name;
};

// Indexed by setting.  The product directory is asked for with all access, as it
// always was: an account that may not administer the key gets the default.
constexpr registryvalue registryvalues[] = {
    /* dll_name */ {"SOFTWARE\\Norvala\\KvernPlus", KEY_READ, "DLL_Name"},
    /* product_directory */ {"SOFTWARE\\Norvala\\TESLOV7", KEY_ALL_ACCESS, "Product_Directory"},
};
static_assert(KEY_READ == 0x20019 && KEY_ALL_ACCESS == 0xF003F);

} // namespace

// ---- environment and settings ---------------------------------------------

uint32_t environment(const char *name, char *out, uint32_t room) {
    char end;
    const DWORD need = GetEnvironmentVariableA(name, &end, 1); // with the end
    if (need <= 1)
        return 0;
    if (need > room)
        return need - 1;
    return GetEnvironmentVariableA(name, out, room);
}

uint32_t systemdirectory(char *out, uint32_t room) {
    return GetWindowsDirectoryA(out, room);
}

bool readsetting(setting which, char (&out)[settingroom]) {
    const registryvalue &value = registryvalues[static_cast<size_t>(which)];
    HKEY key;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, value.key, 0, value.access, &key) != ERROR_SUCCESS)
        return false;
    DWORD length = settingroom;
    const LSTATUS status =
        RegQueryValueExA(key, value.name, nullptr, nullptr, reinterpret_cast<BYTE *>(out), &length);
    RegCloseKey(key);
    if (status != ERROR_SUCCESS)
        return false;
    // The stored text may lack its end.
    if (length < settingroom)
        out[length] = 0;
    else if (out[settingroom - 1] != 0)
        return false;
    return out[0] != 0;
}

// ---- libraries --------------------------------------------------------------

const char *defaultengine() {
    return "m7hqkvrn.dll";
}

library loadlibrary(const char *name) {
    return name == nullptr ? nullptr : LoadLibraryA(name);
}

library loadproduct(const char *directory, const char *name) {
    if (directory == nullptr)
        return loadlibrary(name);
    char path[settingroom + maxpath];
    size_t length = strlen(directory);
    const size_t own = strlen(name) + 1;
    if (length + 1 + own > sizeof path)
        return nullptr;
    memcpy(path, directory, length);
    if (length == 0 || path[length - 1] != '\\')
        path[length++] = '\\';
    memcpy(path + length, name, own);
    return loadlibrary(path);
}

symbol findsymbol(library lib, const char *name) {
    if (lib == nullptr)
        return nullptr;
    return reinterpret_cast<symbol>(GetProcAddress(static_cast<HMODULE>(lib), name));
}

void freelibrary(library lib) {
    if (lib != nullptr)
        FreeLibrary(static_cast<HMODULE>(lib));
}

errnumber lasterror() {
    return errno;
}

void clearerror() {
    errno = 0;
}

// ---- thread, clock, characters ------------------------------------------------

// The message that ends a program's own loop is put back, decided: that loop still
// runs, outside, and waits for it, and none but it can end the program.
bool messageround() {
    MSG message;
    if (!PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE))
        return false;
    TranslateMessage(&message);
    DispatchMessageA(&message);
    if (message.message == WM_QUIT)
        PostQuitMessage(static_cast<int>(message.wParam));
    return true;
}

syserror currenttime(int64_t *seconds) {
    const __time64_t now = _time64(nullptr);
    *seconds = now;
    return now != -1 ? 0 : GetLastError();
}

bool leadbyte(uint8_t byte) {
    return IsDBCSLeadByte(byte) != 0;
}

// ---- messages -----------------------------------------------------------------

// Straight to the system: the lines carry their own CR LF, and the host may have
// another C runtime than ours.
void print(stream to, const char *text, uint32_t length) {
    const HANDLE out = GetStdHandle(to == stream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    uint32_t count;
    if (out != nullptr && out != INVALID_HANDLE_VALUE)
        (void)transferout(out, text, length, &count);
}

} // namespace kvern::platform
