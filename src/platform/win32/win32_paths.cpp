// Identity of paths, and names for temporary files.
#include "platform/win32/win32_system.h"

#include <cstring>

namespace kvern::platform {

namespace {

constexpr DWORD fullroom = 520; // bytes of a full name that are compared
constexpr char tempprefix[] = "QZ";

// A full name taken apart; last is null where the system has none or it is too
// long.
struct fullname {
    char text[fullroom];
    char *last;
};

bool findfullname(const char *path, fullname *out) {
    out->last = nullptr;
    const DWORD length = GetFullPathNameA(path, fullroom, out->text, &out->last);
    return length != 0 && length < fullroom;
}

using identity = BY_HANDLE_FILE_INFORMATION;

// Asks for no access, so that no sharing rule of an open file stands against it;
// directories answer too.
bool findidentity(const char *path, identity *out) {
    const HANDLE handle =
        CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    const bool found = GetFileInformationByHandle(handle, out) != 0;
    CloseHandle(handle);
    return found;
}

bool sameidentity(const identity &a, const identity &b) {
    return a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
           a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
}

// Cuts the last name off; the slash stays, so that a drive's root is one.
bool directoryidentity(fullname *name, char (&last)[fullroom], identity *out) {
    if (name->last == nullptr)
        return false;
    strcpy(last, name->last);
    *name->last = 0;
    return findidentity(name->text, out);
}

// Both paths name nothing yet: would they be made in one place?
bool sameplace(fullname *a, fullname *b) {
    char aname[fullroom], bname[fullroom];
    identity first, second;
    return directoryidentity(a, aname, &first) && directoryidentity(b, bname, &second) &&
           sameidentity(first, second) && lstrcmpiA(aname, bname) == 0;
}

} // namespace

bool isdirectory(const char *path) {
    if (path == nullptr)
        return false;
    const DWORD attributes = GetFileAttributesA(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool samepath(const char *a, const char *b) {
    if (a == nullptr || b == nullptr)
        return false;
    fullname afull, bfull;
    const bool named = findfullname(a, &afull) && findfullname(b, &bfull);
    if (named ? lstrcmpiA(afull.text, bfull.text) == 0 : lstrcmpiA(a, b) == 0)
        return true;
    identity first, second;
    const bool afound = findidentity(a, &first);
    const bool bfound = findidentity(b, &second);
    if (afound && bfound)
        return sameidentity(first, second);
    return named && !afound && !bfound && sameplace(&afull, &bfull);
}

bool isopenas(filehandle file, const char *path) {
    identity open, named;
    return path != nullptr && GetFileInformationByHandle(systemhandle(file), &open) &&
           findidentity(path, &named) && (named.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
           sameidentity(open, named);
}

syserror tempname(const char *directory, char *out, uint32_t room) {
    char name[maxpath];
    if (GetTempFileNameA(directory, tempprefix, 0, name) == 0)
        return GetLastError();
    const size_t length = strlen(name);
    if (length >= room) {
        DeleteFileA(name);
        return ERROR_FILENAME_EXCED_RANGE;
    }
    memcpy(out, name, length + 1);
    return 0;
}

bool tempdirectory(char *out, uint32_t room) {
    const DWORD length = GetTempPathA(room, out);
    return length != 0 && length < room;
}

// An open file keeps its name here.
bool hidetemp(filehandle, const char *) {
    return false;
}

} // namespace kvern::platform
