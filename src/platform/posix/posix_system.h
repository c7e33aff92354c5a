// What the operations of this system share.
#pragma once

#include "platform/platform.h"

#include <climits>
#include <csignal>
#include <cstdint>

namespace kvern::platform {

// From errno to the engine's code space of system errors.
constexpr syserror err_filenotfound = 2;
constexpr syserror err_pathnotfound = 3;
constexpr syserror err_accessdenied = 5;
constexpr syserror err_negativeseek = 131;
constexpr syserror err_nametoolong = 206;

// The code of an errno number; 31 (general failure) for one without a row.
[[nodiscard]] syserror systemcode(int error);

// Taking a path apart, for the operations that ask about its directory: copies the directory part
// ("." or "/" where there is none of its own) and gives the last name; null when it is too long for
// a path.
[[nodiscard]] const char *splitpath(const char *path, char (&directory)[PATH_MAX]);

// Moving bytes through a descriptor until all are there: the one loop beneath files
// and descriptors.  Results are errno numbers.
//
// Reads until `length` bytes are there, the file ends or a signal interrupts a wait; *count
// tells how much came in any case.
[[nodiscard]] int transferin(int descr, void *to, uint32_t length, uint32_t *count);
// Writes all or fails; *count tells how much went out.
[[nodiscard]] int transferout(int descr, const void *from, uint32_t length, uint32_t *count);

// While it lives, the calling thread receives neither SIGPIPE nor SIGXFSZ, so
// that a closed pipe and a file grown to its limit are plain errors.
class quietwrite {
  public:
    quietwrite();
    ~quietwrite();
    quietwrite(const quietwrite &) = delete;
    quietwrite &operator=(const quietwrite &) = delete;

    // Takes off the signal that a write raised which failed with `error`.
    void swallow(int error);

  private:
    sigset_t before;  // the host's mask, put back at the end
    sigset_t pending; // what waited already: the host's, it stays
};

} // namespace kvern::platform
