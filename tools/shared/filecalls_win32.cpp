#include "filecalls.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#include <windows.h>

namespace shared {

const bool strictrename = true;

namespace {

constexpr size_t mostbytes = size_t{1} << 20; // of one call
constexpr int openflags = _O_BINARY | _O_NOINHERIT;

struct codepair {
    DWORD system;
    int code;
};

constexpr codepair codes[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},      {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},        {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_ACCESS_DENIED, EACCES},       {ERROR_SHARING_VIOLATION, EACCES},
    {ERROR_LOCK_VIOLATION, EACCES},      {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_FILE_EXISTS, EEXIST},         {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_DISK_FULL, ENOSPC},           {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE}, {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
};

int systemcode() {
    const DWORD error = GetLastError();
    for (const codepair &each : codes)
        if (each.system == error)
            return each.code;
    return EIO;
}

int codeof(bool done) {
    return done ? 0 : systemcode();
}

OVERLAPPED placeof(uint64_t place) {
    OVERLAPPED where = {};
    where.Offset = static_cast<DWORD>(place);
    where.OffsetHigh = static_cast<DWORD>(place >> 32);
    return where;
}

int64_t moved(bool done, DWORD count) {
    if (done || GetLastError() == ERROR_HANDLE_EOF)
        return count;
    errno = systemcode();
    return -1;
}

// What a path stands for can be asked whoever has it open.
HANDLE openfor(const std::string &path, DWORD flags) {
    return CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
}

bool alive(DWORD process) {
    const HANDLE handle = OpenProcess(SYNCHRONIZE, FALSE, process);
    if (!handle)
        return GetLastError() == ERROR_ACCESS_DENIED;
    const bool runs = WaitForSingleObject(handle, 0) == WAIT_TIMEOUT;
    CloseHandle(handle);
    return runs;
}

// The process of a name that goes on with it, '-' and a number; 0: it does not.
DWORD makerof(const char *rest) {
    char *end = nullptr;
    const unsigned long process = std::strtoul(rest, &end, 10);
    if (*rest < '1' || *rest > '9' || *end != '-')
        return 0;
    const std::string number = end + 1;
    const bool digits = number.find_first_not_of("0123456789") == std::string::npos;
    return digits && !number.empty() ? process : 0;
}

} // namespace

int lookat(const std::string &path, filestate *out) {
    *out = {};
    const HANDLE file = openfor(path, 0);
    if (file == INVALID_HANDLE_VALUE) {
        const int code = systemcode();
        return code == ENOENT ? 0 : code;
    }
    BY_HANDLE_FILE_INFORMATION about = {};
    out->found = true;
    if (GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &about)) {
        out->folder = (about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        out->plain = !out->folder;
        out->links = about.nNumberOfLinks;
    }
    CloseHandle(file);
    return 0;
}

// The path behind a link only the system itself can tell, and of one that dangles not
// even that: a new file never takes the place of one.
int followlinks(std::string *path) {
    const DWORD found = GetFileAttributesA(path->c_str());
    if (found == INVALID_FILE_ATTRIBUTES || (found & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return 0;
    using finalname = DWORD(WINAPI *)(HANDLE, LPSTR, DWORD, DWORD);
    const auto ask = reinterpret_cast<finalname>(reinterpret_cast<void (*)()>(
        GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetFinalPathNameByHandleA")));
    const HANDLE file = openfor(*path, 0);
    if (file == INVALID_HANDLE_VALUE)
        return systemcode();
    char behind[1024];
    const DWORD length = ask ? ask(file, behind, sizeof behind, 0) : 0;
    CloseHandle(file);
    if (length == 0 || length >= sizeof behind)
        return ENAMETOOLONG;
    path->assign(behind, length);
    return 0;
}

std::string folderof(const std::string &path) {
    return path.substr(0, path.find_last_of("\\/:") + 1); // npos + 1 is 0
}

int createfile(const std::string &path, uint32_t) {
    return _open(path.c_str(), _O_RDWR | _O_CREAT | _O_EXCL | openflags, _S_IREAD | _S_IWRITE);
}

int createpassing(const std::string &path, uint32_t) {
    return _open(path.c_str(), _O_RDWR | _O_CREAT | _O_EXCL | _O_TEMPORARY | openflags,
                 _S_IREAD | _S_IWRITE);
}

int createunnamed(const std::string &, uint32_t, std::string *) {
    errno = ENOSYS;
    return -1;
}

int linkunnamed(const std::string &, const std::string &) {
    return ENOSYS;
}

int openplain(const std::string &path, uint64_t *size) {
    const int file = _open(path.c_str(), _O_RDONLY | openflags);
    if (file < 0)
        return -1;
    struct _stati64 state;
    int code = _fstati64(file, &state) == 0 ? 0 : errno;
    if (code == 0 && (state.st_mode & _S_IFMT) != _S_IFREG)
        code = EINVAL;
    if (code == 0) {
        *size = static_cast<uint64_t>(state.st_size);
        return file;
    }
    (void)_close(file);
    errno = code;
    return -1;
}

int openagain(const std::string &path) {
    return _open(path.c_str(), _O_RDWR | openflags);
}

int openover(const std::string &path) {
    return _open(path.c_str(), _O_WRONLY | openflags);
}

int64_t readonce(int file, void *to, size_t room) {
    return _read(file, to, static_cast<unsigned>(std::min(room, mostbytes)));
}

int64_t readplace(int file, uint64_t place, void *to, size_t room) {
    OVERLAPPED where = placeof(place);
    DWORD count = 0;
    const bool done = ReadFile(reinterpret_cast<HANDLE>(_get_osfhandle(file)), to,
                               static_cast<DWORD>(std::min(room, mostbytes)), &count, &where) != 0;
    return moved(done, count);
}

int64_t writeplace(int file, uint64_t place, const void *from, size_t length) {
    OVERLAPPED where = placeof(place);
    DWORD count = 0;
    const bool done =
        WriteFile(reinterpret_cast<HANDLE>(_get_osfhandle(file)), from,
                  static_cast<DWORD>(std::min(length, mostbytes)), &count, &where) != 0;
    return moved(done, count);
}

int writeall(int file, const void *from, size_t length) {
    const char *at = static_cast<const char *>(from);
    while (length != 0) {
        const int count = _write(file, at, static_cast<unsigned>(std::min(length, mostbytes)));
        if (count <= 0)
            return count == 0 ? ENOSPC : errno;
        at += count;
        length -= static_cast<size_t>(count);
    }
    return 0;
}

int seekto(int file, uint64_t position) {
    return _lseeki64(file, static_cast<int64_t>(position), SEEK_SET) < 0 ? errno : 0;
}

int cutto(int file, uint64_t length) {
    const int code = seekto(file, length);
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(file));
    return code != 0 ? code : codeof(SetEndOfFile(handle) != 0);
}

int closefile(int file) {
    return _close(file) == 0 ? 0 : errno;
}

int flushfile(int) {
    return 0;
}

int syncfile(int file) {
    return _commit(file) == 0 ? 0 : errno;
}

int syncfolder(const std::string &) {
    return 0;
}

int giveowner(int, const filestate &) {
    return 0;
}

int givemode(int, uint32_t) {
    return 0;
}

int maywrite(const std::string &path) {
    return _access(path.c_str(), 2) == 0 ? 0 : errno;
}

int replaceby(const std::string &from, const std::string &to) {
    return codeof(MoveFileExA(from.c_str(), to.c_str(),
                              MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0);
}

int renamefile(const std::string &from, const std::string &to) {
    return codeof(MoveFileExA(from.c_str(), to.c_str(), 0) != 0);
}

int removefile(const std::string &path) {
    return codeof(DeleteFileA(path.c_str()) != 0);
}

// An open file of ours cannot be taken away.
int claimfile(int, bool) {
    return 0;
}

void removedead(const std::string &prefix) {
    const std::string folder = folderof(prefix), start = prefix.substr(folder.size());
    WIN32_FIND_DATAA each;
    const HANDLE all = FindFirstFileA((prefix + "*").c_str(), &each);
    if (all == INVALID_HANDLE_VALUE)
        return;
    do {
        const std::string name = each.cFileName;
        if (name.size() <= start.size()) // the short name may have matched
            continue;
        const DWORD maker = makerof(name.c_str() + start.size());
        if (maker != 0 && !alive(maker))
            (void)DeleteFileA((folder + name).c_str());
    } while (FindNextFileA(all, &each));
    FindClose(all);
}

unsigned processnumber() {
    return static_cast<unsigned>(_getpid());
}

} // namespace shared
