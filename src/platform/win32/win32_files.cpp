// Files through system handles.
#include "platform/win32/win32_system.h"

namespace kvern::platform {

namespace {

struct opening {
    DWORD access, share, disposition, attributes;
};

constexpr DWORD readwrite = GENERIC_READ | GENERIC_WRITE;

// Indexed by openmode.  A temporary file is always made anew: its name comes from
// the system with the file, and the lack of sharing keeps others out.
constexpr opening openings[] = {
    /* input */ {GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL},
    /* create */
    {readwrite, FILE_SHARE_READ | FILE_SHARE_WRITE, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL},
    /* truncate */
    {readwrite, FILE_SHARE_READ | FILE_SHARE_WRITE, TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL},
    /* tempcreate */ {readwrite, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY},
    /* tempreplace */ {readwrite, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY},
    /* tempunnamed */ {readwrite, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY},
};

// The end of a pipe whose other side is gone, and of what has no size.
bool isend(DWORD error) {
    return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF;
}

} // namespace

syserror transferout(HANDLE to, const void *from, uint32_t length, uint32_t *count) {
    const auto *next = static_cast<const uint8_t *>(from);
    *count = 0;
    while (*count < length) {
        DWORD put = 0;
        if (!WriteFile(to, next + *count, length - *count, &put, nullptr))
            return GetLastError();
        if (put == 0)
            return err_diskfull;
        *count += put;
    }
    return 0;
}

syserror openfile(const char *path, openmode mode, filehandle *out) {
    const opening &how = openings[static_cast<size_t>(mode)];
    const HANDLE handle =
        CreateFileA(path, how.access, how.share, nullptr, how.disposition, how.attributes, nullptr);
    *out = enginehandle(handle);
    return handle == INVALID_HANDLE_VALUE ? GetLastError() : 0;
}

syserror readfile(filehandle file, void *to, uint32_t length, uint32_t *count) {
    auto *next = static_cast<uint8_t *>(to);
    *count = 0;
    while (*count < length) {
        DWORD got = 0;
        if (!ReadFile(systemhandle(file), next + *count, length - *count, &got, nullptr)) {
            const DWORD error = GetLastError();
            return isend(error) ? 0 : error;
        }
        if (got == 0)
            break;
        *count += got;
    }
    return 0;
}

syserror writefile(filehandle file, const void *from, uint32_t length, uint32_t *count) {
    return transferout(systemhandle(file), from, length, count);
}

namespace {

// The upper word makes the lower one count without a sign: 4 GiB in all.
syserror goplace(filehandle file, uint64_t place) {
    LONG upper = static_cast<LONG>(place >> 32);
    SetLastError(NO_ERROR);
    const DWORD lower = SetFilePointer(systemhandle(file), static_cast<LONG>(place & 0xFFFFFFFF),
                                       &upper, FILE_BEGIN);
    return lower == INVALID_SET_FILE_POINTER ? GetLastError() : 0;
}

template <typename Transfer>
blockmove moveat(filehandle file, filepos place, Transfer transfer) {
    blockmove result = {goplace(file, place), false, 0};
    result.placed = result.error == 0;
    if (result.placed)
        result.error = transfer(&result.count);
    return result;
}

} // namespace

blockmove readat(filehandle file, filepos place, void *to, uint32_t length) {
    return moveat(file, place, [&](uint32_t *count) { return readfile(file, to, length, count); });
}

blockmove writeat(filehandle file, filepos place, const void *from, uint32_t length) {
    return moveat(file, place,
                  [&](uint32_t *count) { return writefile(file, from, length, count); });
}

filepos filelimit() {
    return ~filepos{0};
}

syserror closefile(filehandle file) {
    return CloseHandle(systemhandle(file)) ? 0 : GetLastError();
}

syserror deletefile(const char *path) {
    return DeleteFileA(path) ? 0 : GetLastError();
}

} // namespace kvern::platform
