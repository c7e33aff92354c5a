// Calls of the system about files, with one source for each system.  Paths are as its
// narrow calls take them.  Results are 0 or the C library's error number, where nothing
// else is told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace shared {

struct filestate {
    bool found = false, plain = false, folder = false;
    uint32_t mode = 0, user = 0, group = 0;
    uint64_t links = 0;
};

// What `path` stands for; that it is nothing is no failure.
int lookat(const std::string &path, filestate *out);
// Of a link the path behind it, whether something stands there or not.
int followlinks(std::string *path);
// With the separator at its end; empty: the current one.
std::string folderof(const std::string &path);

// New files, for reading and writing; -1 and errno.
int createfile(const std::string &path, uint32_t mode);
// One that is gone with its descriptor, whatever ends the process.
int createpassing(const std::string &path, uint32_t mode);
// One without a name, in the directory of `path`; `way`: what opens it in this process.
int createunnamed(const std::string &path, uint32_t mode, std::string *way);
int linkunnamed(const std::string &way, const std::string &path);

// Nothing but a plain file, for reading, and its size; -1 and errno (EISDIR, EINVAL).
int openplain(const std::string &path, uint64_t *size);
int openagain(const std::string &path);            // for reading and writing; -1 and errno
int openover(const std::string &path);             // for writing, as it is
int64_t readonce(int file, void *to, size_t room); // -1 and errno
// At a place of a file, whatever its position, by several threads; one turn, which a
// signal may end with EINTR.  -1 and errno.
int64_t readplace(int file, uint64_t place, void *to, size_t room);
int64_t writeplace(int file, uint64_t place, const void *from, size_t length);
int writeall(int file, const void *from, size_t length);
int seekto(int file, uint64_t position);
int cutto(int file, uint64_t length);
int closefile(int file);
// What the system would tell at the close it tells now.
int flushfile(int file);

int syncfile(int file);
// The directory that `path` lies in; one that cannot be synced at all is no failure.
int syncfolder(const std::string &path);
int giveowner(int file, const filestate &as);
int givemode(int file, uint32_t mode);
int maywrite(const std::string &path);

int replaceby(const std::string &from, const std::string &to);  // what stands at `to`
int renamefile(const std::string &from, const std::string &to); // EEXIST: something does
int removefile(const std::string &path);

// Marks the file as one of a live process.  EAGAIN: one with a name was taken away.
int claimfile(int file, bool named);
// Takes away the files called `prefix`, process, '-', number of processes that are dead.
void removedead(const std::string &prefix);
unsigned processnumber();

// Whether the system renames no file that is open and replaces none that is read-only.
extern const bool strictrename;

} // namespace shared
