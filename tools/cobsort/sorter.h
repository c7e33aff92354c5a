// One session of the engine that sorts session records: blocks in, the end, blocks out.
#pragma once

#include "cobsort/keys.h"
#include "kvern.hpp"

#include <string>
#include <string_view>

namespace cobsort {

// Throws kvern::error, in whose `detail` the engine says why.
class sorter {
  public:
    sorter(const keyplan &order, size_t recordbytes, uint32_t memory, const std::string &folder);
    void put(std::string_view records);
    void end();
    // Whole records, which stand until the next call; empty: that was all.
    std::string_view get();

  private:
    kvern::session session;
};

} // namespace cobsort
