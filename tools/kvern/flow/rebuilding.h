// Records of a copy in another shape: each part passes a session alone, by a key that all
// of its records have.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/plan/jobplan.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace command {

class rebuilder {
  public:
    explicit rebuilder(const jobplan &planned);

    void start();
    void take(std::string_view raw, std::string_view data);
    // What came out of those that were taken since start(), framed.
    std::string_view finish();
    uint64_t records() const { return count; } // in it

  private:
    const jobplan &plan;
    bool sorts; // lines of two bytes at their end, which no merge takes
    description what;
    std::optional<session> engine;
    std::string out;
    uint64_t count = 0;

    void step(const char *record, size_t length);
    void drain();
    void add(std::string_view record);
};

} // namespace command
