// Moving bytes through a descriptor until all are there: the one loop beneath
// files and descriptors.  Results are errno numbers.
#pragma once

#include <csignal>
#include <cstdint>

namespace kvern::platform {

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
