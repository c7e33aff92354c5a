// Files on disk: one that is read, and one that is written beside the file it
// replaces and takes that one's place in one step.  All that differs between
// systems is in the source of this header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fmgr {

// An open descriptor; closed with the object.
class descriptor {
  public:
    descriptor() = default;
    explicit descriptor(int number) : held(number) {}
    ~descriptor();
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;

    int number() const { return held; }
    void adopt(int number) { held = number; } // holds none yet
    // False: the system told that bytes were lost.
    bool close();

  private:
    int held = -1;
};

class inputfile {
  public:
    // A plain file; anything else is refused.
    explicit inputfile(const std::string &path);

    uint64_t size() const { return bytes; } // when it was opened
    // All of it, or a failure.
    void readat(uint64_t position, void *to, size_t length) const;
    // As readat, from where the last call of this ended.
    void next(void *to, size_t length);
    uint64_t left() const { return bytes - place; }

  private:
    descriptor file;
    uint64_t bytes = 0, place = 0;
    std::vector<uint8_t> ahead; // read, not yet asked for
    size_t used = 0;
};

class outputfile {
  public:
    explicit outputfile(const std::string &path);
    ~outputfile(); // takes the new file away unless it was put in place
    outputfile(const outputfile &) = delete;
    outputfile &operator=(const outputfile &) = delete;

    void append(const void *from, size_t length);
    // Over what was appended before.
    void rewrite(uint64_t position, const void *from, size_t length);
    // Brings all to the disk, then the file to its place.
    void commit();

  private:
    void drain();

    std::string target, written;
    descriptor file;
    std::vector<uint8_t> waiting;
    bool made = false;
};

} // namespace fmgr
