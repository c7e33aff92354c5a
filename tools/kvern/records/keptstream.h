// What came of a stream and is wanted again: in memory up to a bound, what is more in a
// scratch file.
#pragma once

#include "kvern/system/workfile.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace command {

class keptstream {
  public:
    keptstream(size_t memory, const std::vector<std::string> &tempdirs)
        : room(memory), dirs(tempdirs) {}

    void append(const char *data, size_t length);
    uint64_t size() const { return held + spilled; }
    // Up to so many bytes from there on, by any thread; 0 at the end.
    size_t readat(uint64_t place, void *to, size_t count) const;

  private:
    // One piece after the other, so that memory is never held twice to become longer.
    static constexpr size_t piecebytes = size_t{1} << 20;
    size_t room;
    std::vector<std::string> dirs;
    std::vector<std::unique_ptr<char[]>> pieces;
    size_t held = 0;
    uint64_t spilled = 0;
    std::optional<scratchfile> file;
};

} // namespace command
