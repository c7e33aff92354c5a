// All inputs on their way to what takes a range of keys each: a session, or a file.
#pragma once

#include "kvern/flow/flowjob.h"
#include "kvern/flow/schedule.h"

namespace command {

class intake {
  public:
    // `framed`: variable records keep their prefixes.
    intake(const flowjob &given, const keyranges &all, bool framed);

    team &threads() { return crew; }
    // A thread's part of the work, until nothing is left for it.  `put` takes records of a
    // range, in the order of the inputs; ranges are dealt out to the threads in turn.
    using taker = std::function<void(size_t range, std::string_view records)>;
    void work(unsigned worker, const taker &put);

    // Once that is done: what went to each range, in bytes as they were put.
    const std::vector<uint64_t> &counts() const { return tasks.counts(); }
    const std::vector<uint64_t> &sizes() const { return tasks.sizes(); }
    // Once all threads are done: into the tallies of the job.
    void tell();

  private:
    const flowjob &job;
    const keyranges &ranges;
    bool framed;

    partreader parts;
    team crew;
    schedule tasks;

    void route(router &records, routedpart &one);
};

} // namespace command
