// Who does what in a sort: parts that are to be routed, and what of them waits for each
// session.  A session takes the parts in their order, which keeps the order of equal keys.
//
// The number of parts that are underway is bounded.  None of them waits for ever: those
// ahead of it are being routed by some thread, and a thread takes no new part while
// anything waits for its own sessions.
#pragma once

#include "kvern/flow/routing.h"
#include "kvern/system/team.h"

#include <deque>
#include <map>
#include <memory>
#include <vector>

namespace command {

struct batch { // what of a part waits for one session
    routedpart *from = nullptr;
    size_t range = 0;
};

class schedule {
  public:
    // `inturn`: one part at a time can be read, and no thread is to wait for that while it
    // has something to put.
    schedule(team &together, size_t ranges, size_t mostparts, bool inturn)
        : crew(together), most(mostparts), oneatatime(inturn), queues(ranges), records(ranges),
          bytes(ranges) {}

    // One of both: a batch for a session of this thread, or a part to be filled and routed.
    struct task {
        batch put;
        routedpart *route = nullptr;
    };
    // Waits for it; false: all is routed and put.
    bool next(unsigned worker, task &out);
    void putdone(const batch &one);
    void readdone(); // what is to be routed was filled
    void routedone(routedpart &one);
    void nomore(routedpart &one); // parts to route; this one was not filled

    // Once all is routed: what went to each range, the bytes as sessions take them.
    const std::vector<uint64_t> &counts() const { return records; }
    const std::vector<uint64_t> &sizes() const { return bytes; }

  private:
    team &crew;
    size_t most;
    bool oneatatime, reading = false;
    std::vector<std::deque<batch>> queues; // by range
    std::vector<uint64_t> records, bytes;
    std::vector<std::unique_ptr<routedpart>> all;
    std::vector<routedpart *> spare;
    std::map<uint64_t, routedpart *> early; // those ahead of them are still being routed
    uint64_t turn = 0;
    size_t routing = 0;
    bool ended = false;

    size_t firstwaiting(unsigned worker) const;
    bool maytake() const {
        return !ended && !(oneatatime && reading) && (!spare.empty() || all.size() < most);
    }
    routedpart *take();
    void handout(routedpart &one);
    void leave(routedpart &one);
};

} // namespace command
