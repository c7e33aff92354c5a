// The outputs of sessions, which follow each other in the order of their ranges: into a
// regular file each by its own thread to its own place, where sizes are known; otherwise
// one after the other.
#pragma once

#include "kvern/flow/flowjob.h"
#include "kvern/flow/gathering.h"
#include "kvern/flow/lanes.h"
#include "kvern/records/recordsink.h"
#include "kvern/system/team.h"

#include <vector>

namespace command {

class delivery {
  public:
    delivery(const flowjob &given, team &crew);

    // `sizes`: the bytes that come out of each range, where nothing is folded or becomes
    // longer or shorter; none: not known.
    void begin(const std::vector<uint64_t> &sizes);
    // `fill` puts in whole records, framed: all that a range gives.
    using filler = std::function<void(gathering &)>;
    void put(size_t range, const filler &fill);
    // More memory is free for what waits.
    void grow(size_t bytes) { ordered.grow(bytes); }
    // A thread has put all its ranges, of so many.
    void rest(size_t ranges) {
        if (!placed)
            ordered.rest(ranges);
    }
    // All was put.
    void finish();

  private:
    const flowjob &job;
    recordsink sink; // in order
    lanes ordered;
    bool placed;
    std::vector<uint64_t> places; // where each range begins, and where the last one ends

    void putplaced(size_t range, const filler &fill);
};

} // namespace command
