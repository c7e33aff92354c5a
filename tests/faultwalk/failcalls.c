// A library to be loaded before a program's own: it counts the calls that the program
// makes from main on, by kind, and lets one of them fail.
//
//   KVERN_FAULT=KIND,N,HOW,ERRNO[,on]
//       fail   call N of the kind is not made and fails
//       after  it is made, and fails
//       tear   half of what it should move is moved, and the call behind it fails
//       short  half is moved, and that is all
//     with `on` all calls behind it do the same (behind a torn one all fail)
//   KVERN_FAULT_COUNTS=FILE  the counts are left there, a line a kind
//   KVERN_FAULT_NAMED=1      no file can be made without a name
//   KVERN_FAULT_TRAP=1       a debugger is called where the fault strikes
//   KVERN_FAULT_PROGRAM=NAME the only program that is watched, `kvern` by default
//
// The loader and the C library call each other by other ways and are not seen, so that a
// call of the program is one call here.
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

// `closeout` is the close of what was open for writing alone, `sync` both calls of it.
// clang-format off
#define KINDS(X)                                                                         \
    X(open) X(read) X(pread) X(write) X(pwrite) X(close) X(closeout) X(lseek) X(stat)    \
    X(sync) X(rename) X(link) X(unlink) X(truncate) X(mode) X(owner) X(times) X(folder)  \
    X(list) X(memory) X(map) X(fcntl) X(poll) X(access) X(realpath) X(random) X(clock)   \
    X(copy) X(thread) X(pipe)
// clang-format on

#define ENUMERATOR(name) k_##name,
#define NAME(name) #name,
enum kind { KINDS(ENUMERATOR) kinds };
static const char *const names[] = {KINDS(NAME)};

enum how { none, fail, after, tear, shorten };
static const char *const hows[] = {"", "fail", "after", "tear", "short"};

static unsigned long counts[kinds];
static bool counting, goingon, named, trapping;
static enum kind watched = kinds;
static enum how chosen;
static unsigned long at;
static int error;

// What becomes of this call: none, fail, after, or shorten.
static enum how strike(enum kind kind) {
    if (!counting)
        return none;
    const unsigned long n = ++counts[kind];
    if (kind != watched || n < at)
        return none;
    enum how what = chosen;
    if (chosen == tear)
        what = n == at ? shorten : goingon || n == at + 1 ? fail : none;
    else if (n > at && !goingon)
        what = none;
    if (trapping && what != none)
        raise(SIGTRAP);
    return what;
}

static size_t half(size_t length) {
    return length > 1 ? length / 2 : length;
}

// ---- from where on ------------------------------------------------------------

static void choose(char *text) {
    const char *kind = strtok(text, ",");
    const char *number = strtok(NULL, ",");
    const char *how = strtok(NULL, ",");
    const char *code = strtok(NULL, ",");
    for (int i = 0; kind != NULL && i < kinds; ++i)
        if (strcmp(names[i], kind) == 0)
            watched = (enum kind)i;
    for (int i = fail; how != NULL && i <= shorten; ++i)
        if (strcmp(hows[i], how) == 0)
            chosen = (enum how)i;
    if (watched == kinds || chosen == none || code == NULL) {
        static const char text_[] = "failcalls: KVERN_FAULT is KIND,N,HOW,ERRNO[,on]\n";
        (void)!syscall(SYS_write, 2, text_, sizeof text_ - 1);
        _exit(99);
    }
    at = strtoul(number, NULL, 10);
    error = atoi(code);
    goingon = strtok(NULL, ",") != NULL;
}

static int (*realmain)(int, char **, char **);

static int watchedmain(int argc, char **argv, char **environment) {
    const char *program = getenv("KVERN_FAULT_PROGRAM");
    if (strcmp(program_invocation_short_name, program ? program : "kvern") == 0) {
        char *fault = getenv("KVERN_FAULT");
        if (fault != NULL)
            choose(strdup(fault));
        named = getenv("KVERN_FAULT_NAMED") != NULL;
        trapping = getenv("KVERN_FAULT_TRAP") != NULL;
        counting = true;
    }
    return realmain(argc, argv, environment);
}

typedef int mainroutine(int, char **, char **);
typedef int starter(mainroutine *, int, char **, void (*)(void), void (*)(void), void (*)(void),
                    void *);
#define REAL(name)                                                                                 \
    static __typeof__(name) *real;                                                                 \
    if (real == NULL)                                                                              \
    *(void **)&real = dlsym(RTLD_NEXT, #name)

int __libc_start_main(mainroutine *entry, int argc, char **argv, void (*init)(void),
                      void (*fini)(void), void (*rtld)(void), void *stack) {
    static starter *real;
    *(void **)&real = dlsym(RTLD_NEXT, "__libc_start_main");
    realmain = entry;
    return real(watchedmain, argc, argv, init, fini, rtld, stack);
}

__attribute__((destructor)) static void leavecounts(void) {
    const char *path = getenv("KVERN_FAULT_COUNTS");
    if (!counting || path == NULL)
        return;
    counting = false;
    FILE *out = fopen(path, "w");
    for (int i = 0; out != NULL && i < kinds; ++i)
        fprintf(out, "%s %lu\n", names[i], counts[i]);
    if (out != NULL)
        fclose(out);
}

// ---- calls that are made or not -------------------------------------------------

#define WHOLE(kind, result, bad, name, parameters, arguments)                                      \
    result name parameters {                                                                       \
        REAL(name);                                                                                \
        const enum how what = strike(kind);                                                        \
        result const out = what == fail ? bad : real arguments;                                    \
        if (what != none)                                                                          \
            errno = error;                                                                         \
        return what == after ? bad : out;                                                          \
    }

#define CALL(kind, name, parameters, arguments) WHOLE(kind, int, -1, name, parameters, arguments)

// Of calls that move bytes: fewer of them.
#define MOVING(kind, name, parameters, length, arguments)                                          \
    ssize_t name parameters {                                                                      \
        REAL(name);                                                                                \
        const enum how what = strike(kind);                                                        \
        if (what == fail) {                                                                        \
            errno = error;                                                                         \
            return -1;                                                                             \
        }                                                                                          \
        if (what == shorten)                                                                       \
            length = half(length);                                                                 \
        return real arguments;                                                                     \
    }

static bool refusesnameless(int flags) {
    return counting && named && (flags & O_TMPFILE) == O_TMPFILE;
}

static mode_t modeof(int flags, va_list more) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(more, mode_t) : 0;
}

#define OPENING(name, parameters, ...)                                                             \
    int name parameters {                                                                          \
        REAL(name);                                                                                \
        va_list more;                                                                              \
        va_start(more, flags);                                                                     \
        const mode_t mode = modeof(flags, more);                                                   \
        va_end(more);                                                                              \
        const enum how what = strike(k_open);                                                      \
        if (what != none || refusesnameless(flags)) {                                              \
            errno = what != none ? error : EOPNOTSUPP;                                             \
            return -1;                                                                             \
        }                                                                                          \
        return real(__VA_ARGS__, mode);                                                            \
    }

#define POINTER(kind, result, name, parameters, arguments)                                         \
    WHOLE(kind, result *, NULL, name, parameters, arguments)
POINTER(k_list, DIR, opendir, (const char *path), (path))
POINTER(k_list, DIR, fdopendir, (int file), (file))
POINTER(k_realpath, char, realpath, (const char *path, char *to), (path, to))

// An interrupted or failed close has closed.
int close(int file) {
    REAL(close);
    const bool out = counting && (fcntl(file, F_GETFL) & O_ACCMODE) == O_WRONLY;
    const enum how what = strike(out ? k_closeout : k_close);
    const int result = real(file);
    if (what == none)
        return result;
    errno = error;
    return -1;
}

CALL(k_stat, statx, (int folder, const char *path, int flags, unsigned mask, struct statx *to),
     (folder, path, flags, mask, to))
CALL(k_sync, fsync, (int file), (file))
CALL(k_sync, fdatasync, (int file), (file))
CALL(k_rename, rename, (const char *from, const char *to), (from, to))
CALL(k_rename, renameat, (int a, const char *from, int b, const char *to), (a, from, b, to))
CALL(k_rename, renameat2, (int a, const char *from, int b, const char *to, unsigned flags),
     (a, from, b, to, flags))
CALL(k_link, link, (const char *from, const char *to), (from, to))
CALL(k_link, linkat, (int a, const char *from, int b, const char *to, int flags),
     (a, from, b, to, flags))
CALL(k_link, symlink, (const char *from, const char *to), (from, to))
CALL(k_unlink, unlink, (const char *path), (path))
CALL(k_unlink, unlinkat, (int folder, const char *path, int flags), (folder, path, flags))
CALL(k_unlink, remove, (const char *path), (path))
CALL(k_mode, chmod, (const char *path, mode_t mode), (path, mode))
CALL(k_mode, fchmod, (int file, mode_t mode), (file, mode))
CALL(k_mode, fchmodat, (int folder, const char *path, mode_t mode, int flags),
     (folder, path, mode, flags))
CALL(k_owner, chown, (const char *path, uid_t user, gid_t group), (path, user, group))
CALL(k_owner, lchown, (const char *path, uid_t user, gid_t group), (path, user, group))
CALL(k_owner, fchown, (int file, uid_t user, gid_t group), (file, user, group))
CALL(k_owner, fchownat, (int folder, const char *path, uid_t user, gid_t group, int flags),
     (folder, path, user, group, flags))
CALL(k_times, utimensat, (int folder, const char *path, const struct timespec t[2], int flags),
     (folder, path, t, flags))
CALL(k_times, futimens, (int file, const struct timespec times[2]), (file, times))
CALL(k_folder, mkdir, (const char *path, mode_t mode), (path, mode))
CALL(k_access, access, (const char *path, int mode), (path, mode))
CALL(k_access, faccessat, (int folder, const char *path, int mode, int flags),
     (folder, path, mode, flags))
CALL(k_poll, poll, (struct pollfd * files, nfds_t count, int time), (files, count, time))
CALL(k_clock, clock_gettime, (clockid_t clock, struct timespec *to), (clock, to))
CALL(k_pipe, pipe, (int ends[2]), (ends))
CALL(k_pipe, pipe2, (int ends[2], int flags), (ends, flags))
CALL(k_pipe, dup, (int file), (file))
CALL(k_pipe, dup2, (int file, int to), (file, to))
WHOLE(k_realpath, ssize_t, -1, readlink, (const char *path, char *to, size_t room),
      (path, to, room))

// By both names, of which one tells that positions have 64 bits.
#define SIZED(s, place, its)                                                                       \
    OPENING(open##s, (const char *path, int flags, ...), path, flags)                              \
    OPENING(openat##s, (int folder, const char *path, int flags, ...), folder, path, flags)        \
    POINTER(k_open, FILE, fopen##s, (const char *path, const char *mode), (path, mode))            \
    CALL(k_stat, stat##s, (const char *path, its *to), (path, to))                                 \
    CALL(k_stat, lstat##s, (const char *path, its *to), (path, to))                                \
    CALL(k_stat, fstat##s, (int file, its *to), (file, to))                                        \
    CALL(k_stat, fstatat##s, (int folder, const char *path, its *to, int flags),                   \
         (folder, path, to, flags))                                                                \
    CALL(k_truncate, truncate##s, (const char *path, place to), (path, to))                        \
    CALL(k_truncate, ftruncate##s, (int file, place to), (file, to))                               \
    WHOLE(k_lseek, place, -1, lseek##s, (int file, place to, int whence), (file, to, whence))      \
    MOVING(k_pread, pread##s, (int file, void *to, size_t room, place from), room,                 \
           (file, to, room, from))                                                                 \
    MOVING(k_pwrite, pwrite##s, (int file, const void *from, size_t length, place to), length,     \
           (file, from, length, to))                                                               \
    WHOLE(k_map, void *, MAP_FAILED, mmap##s,                                                      \
          (void *to, size_t length, int protection, int flags, int file, place from),              \
          (to, length, protection, flags, file, from))
SIZED(, off_t, struct stat)
SIZED(64, off64_t, struct stat64)

int __open_2(const char *path, int flags) {
    return open(path, flags);
}
int __open64_2(const char *path, int flags) {
    return open(path, flags);
}
int __openat_2(int folder, const char *path, int flags) {
    return openat(folder, path, flags);
}

int fcntl(int file, int command, ...) {
    REAL(fcntl);
    va_list more;
    va_start(more, command);
    void *argument = va_arg(more, void *); // as the C library does for every command
    va_end(more);
    // The look of close() above is not the program's.
    if (command == F_GETFL || strike(k_fcntl) == none)
        return real(file, command, argument);
    errno = error;
    return -1;
}
int fcntl64(int file, int command, ...) {
    va_list more;
    va_start(more, command);
    void *argument = va_arg(more, void *);
    va_end(more);
    return fcntl(file, command, argument);
}

struct dirent *readdir(DIR *folder) {
    REAL(readdir);
    if (strike(k_list) == none)
        return real(folder);
    errno = error;
    return NULL;
}

int pthread_create(pthread_t *out, const pthread_attr_t *how, void *(*routine)(void *), void *to) {
    REAL(pthread_create);
    return strike(k_thread) == none ? real(out, how, routine, to) : error;
}

// ---- calls that move bytes --------------------------------------------------------

MOVING(k_read, read, (int file, void *to, size_t room), room, (file, to, room))
MOVING(k_copy, copy_file_range,
       (int from, off64_t *a, int to, off64_t *b, size_t length, unsigned flags), length,
       (from, a, to, b, length, flags))
MOVING(k_copy, sendfile, (int to, int from, off_t *place, size_t length), length,
       (to, from, place, length))
MOVING(k_random, getrandom, (void *to, size_t length, unsigned flags), length, (to, length, flags))

// Words of an error are not what the walk is about.
static enum how strikewrite(int file) {
    const enum how what = file == STDERR_FILENO ? none : strike(k_write);
    if (what == fail)
        errno = error;
    return what;
}
ssize_t write(int file, const void *from, size_t length) {
    REAL(write);
    const enum how what = strikewrite(file);
    return what == fail ? -1 : real(file, from, what == shorten ? half(length) : length);
}
ssize_t writev(int file, const struct iovec *pieces, int count) {
    REAL(writev);
    const enum how what = strikewrite(file);
    if (what == shorten && count == 1)
        return write(file, pieces->iov_base, half(pieces->iov_len));
    return what == fail ? -1 : real(file, pieces, what == shorten ? count / 2 : count);
}

// What fortified programs call in their stead.
ssize_t __read_chk(int file, void *to, size_t room, size_t size) {
    return read(file, to, room <= size ? room : (abort(), room));
}
ssize_t __pread_chk(int file, void *to, size_t room, off_t place, size_t size) {
    return pread(file, to, room <= size ? room : (abort(), room), place);
}
ssize_t __pread64_chk(int file, void *to, size_t room, off64_t place, size_t size) {
    return pread64(file, to, room <= size ? room : (abort(), room), place);
}
ssize_t __readlink_chk(const char *path, char *to, size_t room, size_t size) {
    return readlink(path, to, room <= size ? room : (abort(), room));
}
char *__realpath_chk(const char *path, char *to, size_t size) {
    return realpath(path, size >= PATH_MAX ? to : (abort(), to));
}
int __poll_chk(struct pollfd *files, nfds_t count, int time, size_t size) {
    return poll(files, size >= count * sizeof *files ? count : (abort(), count), time);
}

// ---- memory -------------------------------------------------------------------------

// By the C library's own names: dlsym() itself takes memory.
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *old, size_t size);
void *__libc_memalign(size_t alignment, size_t size);

static bool nomemory(void) {
    if (strike(k_memory) == none)
        return false;
    errno = ENOMEM;
    return true;
}

void *malloc(size_t size) {
    return nomemory() ? NULL : __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
    return nomemory() ? NULL : __libc_calloc(count, size);
}
void *realloc(void *old, size_t size) {
    return nomemory() ? NULL : __libc_realloc(old, size);
}
void *memalign(size_t alignment, size_t size) {
    return nomemory() ? NULL : __libc_memalign(alignment, size);
}
void *aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}
int posix_memalign(void **out, size_t alignment, size_t size) {
    void *taken = memalign(alignment, size);
    if (taken == NULL)
        return ENOMEM;
    *out = taken;
    return 0;
}
