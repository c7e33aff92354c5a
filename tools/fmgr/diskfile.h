// Files on disk: one that is read, and one that is written beside the file it
// replaces and takes that one's place when it is whole.
#pragma once

#include "shared/replacefile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fmgr {

class inputfile {
  public:
    // A plain file; anything else is refused.
    explicit inputfile(const std::string &path);
    ~inputfile();
    inputfile(const inputfile &) = delete;
    inputfile &operator=(const inputfile &) = delete;

    uint64_t size() const { return bytes; } // when it was opened
    // All of it, or a failure.
    void readat(uint64_t position, void *to, size_t length) const;
    // As readat, from where the last call of this ended.
    void next(void *to, size_t length);
    uint64_t left() const { return bytes - place; }

  private:
    uint64_t bytes = 0, place = 0;
    int file;
    std::vector<uint8_t> ahead; // read, not yet asked for
    size_t used = 0;
};

// Not put in its place it goes with the object.
class outputfile {
  public:
    explicit outputfile(const std::string &path);

    void append(const void *from, size_t length);
    // Over what was appended before.
    void rewrite(uint64_t position, const void *from, size_t length);
    void commit();

  private:
    void drain();

    shared::replacefile file;
    std::vector<uint8_t> waiting;
};

} // namespace fmgr
