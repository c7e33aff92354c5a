// Ranges of keys, each for a session of its own: all records of a key fall into one.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/records/inputs.h"

#include <string>
#include <string_view>
#include <vector>

namespace command {

class keyranges {
  public:
    keyranges() = default; // one, of all keys
    // Ascending, no two the same: the first key of each range but the first one.
    explicit keyranges(std::vector<std::string> firstkeys);

    size_t count() const { return cuts.size() + 1; }
    size_t find(std::string_view key) const;
    const std::vector<std::string> &firstkeys() const { return cuts; }

  private:
    std::vector<std::string> cuts;
    std::vector<uint64_t> heads; // the first eight bytes of each as a number
};

// As even as a sample tells: of regular inputs from places all over them, of a stream from
// its beginning.  Fewer than wanted where keys are few; `worthwhile`: one, where nearly all
// would fall into one.
keyranges sampleranges(const jobplan &plan, std::vector<inputsource> &sources, size_t wanted,
                       bool worthwhile);

} // namespace command
