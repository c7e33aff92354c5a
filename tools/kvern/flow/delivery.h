// The outputs of sessions, which follow each other in the order of their ranges: into a
// regular file each by its own thread to its own place, where sizes are known; otherwise
// one after the other.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/flow/flowjob.h"
#include "kvern/flow/lanes.h"
#include "kvern/records/recordsink.h"
#include "kvern/system/team.h"

#include <vector>

namespace command {

class delivery {
  public:
    delivery(const flowjob &given, team &crew);

    // All input was read.  What goes to each range: records, and bytes as sessions take
    // them.
    void begin(const std::vector<uint64_t> &records, const std::vector<uint64_t> &bytes);
    // All that a session of that range gives, whose input has ended.  `look`: between two
    // calls.
    void drain(session &engine, size_t range, const std::function<void()> &look);
    // More memory is free for what waits.
    void grow(size_t bytes) { ordered.grow(bytes); }
    // A thread has drained all its sessions, of so many.
    void rest(size_t ranges) {
        if (!placed)
            ordered.rest(ranges);
    }
    // All was drained.
    void finish();

  private:
    const flowjob &job;
    const jobplan &plan;
    recordsink sink; // in order
    lanes ordered;
    bool placed;
    std::vector<uint64_t> places; // where each range begins, and where the last one ends

    bool sizesknown() const;
    uint64_t outbytes(uint64_t records, uint64_t bytes) const;
    void put(const void *data, size_t length);
    void drainplaced(session &engine, size_t range, const std::function<void()> &look);
    void pump(session &engine, const std::function<void(const void *, size_t)> &to,
              const std::function<void()> &look) const;
};

} // namespace command
