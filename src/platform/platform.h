// The door to the system: every operation that differs between systems, and
// nothing else.  No other file of the engine includes a system header.
//
// Errors are numbers of one code space, the Windows system error codes that
// syserror.cpp maps to messages (2 file not found, 5 access denied, 112 disk
// full, 267 is a directory, ...); the POSIX side translates errno into it.  The
// descriptor family alone speaks errno numbers (2, 13, 20, 21, 24, 27, 28, 32),
// which are the same on both systems.  0 is success everywhere.
//
// Texts are zero-ended single-byte strings.  An operation writes only to the
// memory it is given and keeps no pointer.  A write to a closed pipe is an error and
// never a signal.  Calls that may wait without end, the opens, reads and writes below,
// come back when a signal interrupts them; others are repeated inside.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kvern::platform {

using syserror = uint32_t;
using errnumber = int;
using filepos = uintptr_t; // 32 bits wide where the system's calls take 32

constexpr syserror err_diskfull = 112;
constexpr syserror err_handlediskfull = 39;
constexpr syserror err_isdirectory = 267;
constexpr syserror err_interrupted = UINT32_MAX; // of no system
constexpr errnumber errno_interrupted = 4;

// The call was interrupted and may be repeated; a transfer told how far it came.
constexpr bool isinterrupted(syserror code) {
    return code == err_interrupted;
}
constexpr bool isinterrupted(errnumber error) {
    return error == errno_interrupted;
}

// ---- memory -------------------------------------------------------------

struct memory {
    void *handle;
    void *address;
};

// Zero-filled memory.  False: none to be had.
[[nodiscard]] bool takememory(uint32_t bytes, memory *out);
void freememory(const memory &taken, uint32_t bytes);

// Asks for room for many open files; no result, nothing depends on it.
void wantmanyfiles();

// ---- files through system handles --------------------------------------

using filehandle = intptr_t;
constexpr filehandle nofile = -1;

enum class openmode : uint8_t {
    input,       // existing file, read, others may read
    create,      // read and write, created or emptied
    truncate,    // existing file, emptied
    tempcreate,  // temporary file: read and write, nobody else; must be new on
                 // systems without sharing locks (see tempname)
    tempreplace, // as tempcreate, but an existing plain file is emptied; links
                 // are not followed
    tempunnamed, // as tempcreate, without a name from the start where the system can, so
                 // that nothing stays of a process that is killed
};

[[nodiscard]] syserror openfile(const char *path, openmode mode, filehandle *out);
// Reads until `length` bytes are there or the file ends.
[[nodiscard]] syserror readfile(filehandle file, void *to, uint32_t length, uint32_t *count);
// Writes all of it, or fails; *count tells how much went out in either case.
[[nodiscard]] syserror writefile(filehandle file, const void *from, uint32_t length,
                                 uint32_t *count);

// What came of moving a block at a place.
struct blockmove {
    syserror error; // 0: moved, as far as `count` tells
    bool placed;    // false: the error is that of going to the place, where that is a call
    uint32_t count;
};
// As readfile and writefile, at a place from the start; where the file stands then is
// not told.  Blocks are written to plain files only, and below filelimit(): so no signal
// can come that would have to be kept from the host.
[[nodiscard]] blockmove readat(filehandle file, filepos place, void *to, uint32_t length);
[[nodiscard]] blockmove writeat(filehandle file, filepos place, const void *from, uint32_t length);
// Bytes that a file may have by the limits of this process, at most what a place can
// tell.
[[nodiscard]] filepos filelimit();

[[nodiscard]] syserror closefile(filehandle file);
[[nodiscard]] syserror deletefile(const char *path);

// ---- files through descriptors (untranslated bytes on both systems) -----

constexpr int stdinput = 0; // also what standard output goes through

[[nodiscard]] errnumber opendescr(const char *path, bool for_write, int *out);
// Reads until `length` bytes are there or the file ends.
[[nodiscard]] errnumber readdescr(int descr, void *to, uint32_t length, uint32_t *count);
[[nodiscard]] errnumber writedescr(int descr, const void *from, uint32_t length, uint32_t *count);
[[nodiscard]] errnumber closedescr(int descr);

// ---- paths ---------------------------------------------------------------

[[nodiscard]] bool isdirectory(const char *path); // false where nothing is
// The same file: same identity on disk, or the same full name (without regard
// to case on Windows).  Where a path names nothing yet, its directory's
// identity and its last name decide.
[[nodiscard]] bool samepath(const char *a, const char *b);
// True when path names an existing plain file that is the open `file`.
[[nodiscard]] bool isopenas(filehandle file, const char *path);

constexpr uint32_t maxpath = 260; // bytes with the end, of names made by the system

// A new name in `directory` for a temporary file.  On Windows the file exists
// afterwards, empty; on POSIX it does not, and tempcreate makes it.
[[nodiscard]] syserror tempname(const char *directory, char *out, uint32_t room);
// The system's default directory for temporary files; false when too long.
[[nodiscard]] bool tempdirectory(char *out, uint32_t room);
// Takes the name of an open temporary file off the disk at once, where the
// system can, if it ever had one; false: it cannot, the file must be deleted by name at
// the end.
[[nodiscard]] bool hidetemp(filehandle file, const char *path);

// ---- surroundings --------------------------------------------------------

// Copies a variable with its end.  Result: its length; 0 absent or empty; when
// not below room, nothing was copied.
[[nodiscard]] uint32_t environment(const char *name, char *out, uint32_t room);
// The system's own directory as a last resort for temporary files; length as
// above; 0 on systems without one.
[[nodiscard]] uint32_t systemdirectory(char *out, uint32_t room);

enum class setting : uint8_t { dll_name, product_directory };
constexpr uint32_t settingroom = 1024;
// Copies a setting of the installation (registry on Windows; on POSIX an
// environment variable, not heeded in a program with raised privileges).
// False: absent, empty or too long.
[[nodiscard]] bool readsetting(setting which, char (&out)[settingroom]);

// Name of the engine library when no setting names one; null: the library that
// this code is part of.
[[nodiscard]] const char *defaultengine();
using library = void *;
using symbol = void (*)();
[[nodiscard]] library loadlibrary(const char *name);
// Loads another product's library by its Windows name (NAME.dll, on POSIX
// libNAME.so) out of a directory; null: wherever the system looks for libraries.
[[nodiscard]] library loadproduct(const char *directory, const char *name);
[[nodiscard]] symbol findsymbol(library lib, const char *name);
void freelibrary(library lib);

// findsymbol for a slot of the routine's own type.
template <class routine>
[[nodiscard]] bool findroutine(library lib, const char *name, routine *slot) {
    const symbol found = findsymbol(lib, name);
    *slot = reinterpret_cast<routine>(found);
    return found != nullptr;
}

// The C runtime's error number of this thread, where a library that was called has
// left it.
[[nodiscard]] errnumber lasterror();
void clearerror();

// Takes one message off the thread's queue and dispatches it; false where none
// was there or the system has no such queue.
bool messageround();

// Two words of storage for each thread, null at first.
[[nodiscard]] void *threadword(unsigned which);
void setthreadword(unsigned which, void *value);

[[nodiscard]] syserror currenttime(int64_t *seconds);
[[nodiscard]] bool leadbyte(uint8_t byte); // opens a double-byte character

enum class stream : uint8_t { output, error };
void print(stream to, const char *text, uint32_t length);

} // namespace kvern::platform
