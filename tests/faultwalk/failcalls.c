// A library to be loaded before the command: it counts the calls to the system that the
// command makes from main on, by kind, and lets one of them fail.
//
//   KVERN_FAULT=KIND,N,HOW,ERRNO[,on]
//       fail   call N of the kind is not made and fails
//       after  it is made, and fails
//       tear   half of what it should move is moved, and the call behind it fails
//       short  half is moved, and that is all
//     with `on` all calls behind it do the same (behind a torn one all fail)
//   KVERN_FAULT_COUNTS=FILE  the counts are left there, a line a kind
//   KVERN_FAULT_NAMED=1      no file can be made without a name
//
// The loader and the C library call each other by other ways and are not seen, so that a
// call of the command is one call here.  What it does not call is not here either;
// faultwalk.py looks whether that still holds.
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

// `closeout` is the close of what was open for writing alone.
// clang-format off
#define KINDS(X)                                                                        \
    X(open) X(read) X(pread) X(write) X(pwrite) X(close) X(closeout) X(lseek) X(stat)   \
    X(sync) X(rename) X(link) X(unlink) X(truncate) X(mode) X(owner) X(list) X(memory)  \
    X(fcntl) X(poll) X(access) X(realpath) X(random) X(clock) X(thread)
// clang-format on

#define ENUMERATOR(name) k_##name,
#define NAME(name) #name,
enum kind { KINDS(ENUMERATOR) kinds };
static const char *const names[] = {KINDS(NAME)};

enum how { none, fail, after, tear, shorten, hows };
static const char *const hownames[] = {"", "fail", "after", "tear", "short"};

static unsigned long counts[kinds];
static bool counting, goingon, named;
static enum kind watched = kinds;
static enum how chosen;
static unsigned long at;
static int error;

// What becomes of this call: none, fail, after, or shorten.
static enum how strike(enum kind kind) {
    if (!counting || kind == kinds)
        return none;
    const unsigned long n = __atomic_add_fetch(&counts[kind], 1, __ATOMIC_RELAXED);
    if (kind != watched || n < at)
        return none;
    enum how what = chosen;
    if (chosen == tear)
        what = n == at ? shorten : goingon || n == at + 1 ? fail : none;
    else if (n > at && !goingon)
        what = none;
    return what;
}

// ---- from where on ------------------------------------------------------------

static void choose(const char *fault) {
    char kind[16] = "", how[8] = "", on[4];
    goingon = sscanf(fault, "%15[^,],%lu,%7[^,],%d,%3s", kind, &at, how, &error, on) == 5;
    for (watched = 0; watched < kinds && strcmp(names[watched], kind) != 0;)
        ++watched;
    for (chosen = fail; chosen < hows && strcmp(hownames[chosen], how) != 0;)
        ++chosen;
    if (watched == kinds || chosen == hows || error == 0)
        abort();
}

typedef int mainroutine(int, char **, char **);
static mainroutine *realmain;

static int watchedmain(int argc, char **argv, char **environment) {
    if (strcmp(program_invocation_short_name, "kvern") == 0) {
        if (getenv("KVERN_FAULT") != NULL)
            choose(getenv("KVERN_FAULT"));
        named = getenv("KVERN_FAULT_NAMED") != NULL;
        counting = true;
    }
    return realmain(argc, argv, environment);
}

#define REAL(name)                                                                                 \
    static __typeof__(name) *real;                                                                 \
    if (real == NULL)                                                                              \
    *(void **)&real = dlsym(RTLD_NEXT, #name)

int __libc_start_main(mainroutine *entry, int argc, char **argv, void (*init)(void),
                      void (*fini)(void), void (*rtld)(void), void *stack) {
    REAL(__libc_start_main);
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

static enum kind kindofclose(int file) {
    const bool out = counting && (fcntl(file, F_GETFL) & O_ACCMODE) == O_WRONLY;
    return out ? k_closeout : k_close;
}

CALL(kindofclose(file), close, (int file), (file))
CALL(k_stat, stat, (const char *path, struct stat *to), (path, to))
CALL(k_stat, lstat, (const char *path, struct stat *to), (path, to))
CALL(k_stat, fstat, (int file, struct stat *to), (file, to))
CALL(k_sync, fsync, (int file), (file))
CALL(k_rename, rename, (const char *from, const char *to), (from, to))
CALL(k_rename, renameat2, (int a, const char *from, int b, const char *to, unsigned flags),
     (a, from, b, to, flags))
CALL(k_link, linkat, (int a, const char *from, int b, const char *to, int flags),
     (a, from, b, to, flags))
CALL(k_unlink, unlink, (const char *path), (path))
CALL(k_truncate, ftruncate, (int file, off_t to), (file, to))
CALL(k_mode, fchmod, (int file, mode_t mode), (file, mode))
CALL(k_owner, fchown, (int file, uid_t user, gid_t group), (file, user, group))
CALL(k_access, faccessat, (int folder, const char *path, int mode, int flags),
     (folder, path, mode, flags))
CALL(k_poll, poll, (struct pollfd * files, nfds_t count, int time), (files, count, time))
CALL(k_clock, clock_gettime, (clockid_t clock, struct timespec *to), (clock, to))
WHOLE(k_lseek, off_t, -1, lseek, (int file, off_t to, int whence), (file, to, whence))
WHOLE(k_realpath, ssize_t, -1, readlink, (const char *path, char *to, size_t room),
      (path, to, room))
WHOLE(k_list, DIR *, NULL, opendir, (const char *path), (path))
WHOLE(k_list, struct dirent *, NULL, readdir, (DIR * folder), (folder))
WHOLE(k_thread, int, error, pthread_create,
      (pthread_t * made, const pthread_attr_t *how, void *(*work)(void *), void *with),
      (made, how, work, with))

int open(const char *path, int flags, ...) {
    REAL(open);
    va_list more;
    va_start(more, flags);
    const mode_t mode = va_arg(more, mode_t); // heeded where the flags make a file
    va_end(more);
    const bool refused = counting && named && (flags & O_TMPFILE) == O_TMPFILE;
    const enum how what = strike(k_open);
    if (what == none && !refused)
        return real(path, flags, mode);
    errno = what != none ? error : EOPNOTSUPP;
    return -1;
}
int __open_2(const char *path, int flags) { // of fortified programs
    return open(path, flags);
}

int fcntl(int file, int command, ...) {
    REAL(fcntl);
    va_list more;
    va_start(more, command);
    void *argument = va_arg(more, void *); // as the C library does for every command
    va_end(more);
    // The look of kindofclose() is not the command's.
    if (command == F_GETFL || strike(k_fcntl) == none)
        return real(file, command, argument);
    errno = error;
    return -1;
}

// ---- calls that move bytes --------------------------------------------------------

#define MOVING(kind, name, parameters, length, arguments)                                          \
    ssize_t name parameters {                                                                      \
        REAL(name);                                                                                \
        const enum how what = strike(kind);                                                        \
        length = what == shorten && length > 1 ? length / 2 : length;                              \
        errno = what == fail ? error : errno;                                                      \
        return what == fail ? -1 : real arguments;                                                 \
    }

MOVING(k_read, read, (int file, void *to, size_t room), room, (file, to, room))
MOVING(k_pread, pread, (int file, void *to, size_t room, off_t from), room, (file, to, room, from))
// Words of an error are not what the walk is about.
MOVING(file == STDERR_FILENO ? kinds : k_write, write, (int file, const void *from, size_t length),
       length, (file, from, length))
MOVING(k_pwrite, pwrite, (int file, const void *from, size_t length, off_t to), length,
       (file, from, length, to))
MOVING(k_random, getrandom, (void *to, size_t length, unsigned flags), length, (to, length, flags))

// ---- memory -------------------------------------------------------------------------

// By the C library's own names: dlsym() itself takes memory.
#define MEMORY(name, parameters, arguments)                                                        \
    void *__libc_##name parameters;                                                                \
    void *name parameters {                                                                        \
        if (strike(k_memory) == none)                                                              \
            return __libc_##name arguments;                                                        \
        errno = ENOMEM;                                                                            \
        return NULL;                                                                               \
    }
MEMORY(malloc, (size_t size), (size))
MEMORY(calloc, (size_t count, size_t size), (count, size))
MEMORY(realloc, (void *old, size_t size), (old, size))
