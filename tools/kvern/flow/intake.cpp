#include "kvern/flow/intake.h"

#include "kvern/flow/partflow.h"

#include <algorithm>

namespace command {

namespace {

constexpr size_t partsathread = 4; // that are read, routed or wait
constexpr size_t largestpart = 4 * partbytes;

// What waits for a session together finds its tree in the caches, but for the first of it:
// parts are large where they need not fit beside -S and each thread still has many.
size_t partfor(const flowjob &job) {
    constexpr size_t many = 32;
    if (!job.options.memory.empty())
        return partbytes;
    const uint64_t even = bytesabout(job) / (many * job.storage.jobs);
    return static_cast<size_t>(std::clamp<uint64_t>(even, partbytes, largestpart));
}

} // namespace

intake::intake(const flowjob &given, const keyranges &all, bool withprefix)
    : job(given), ranges(all), framed(withprefix),
      parts(given.sources, rulesof(given, partfor(given))), crew(threadsfor(given)),
      tasks(crew, all.count(), partsathread * crew.threads(), !parts.byplace()) {}

void intake::work(unsigned worker, const taker &put) {
    router records(job, parts, ranges, framed);
    const atlast told(crew, [&] { records.tell(); });
    schedule::task task;
    while (tasks.next(worker, task)) {
        routedpart &one = task.route != nullptr ? *task.route : *task.put.from;
        try {
            if (task.route != nullptr)
                route(records, one);
            else
                put(task.put.range, one.slices[task.put.range]);
        } catch (...) {
            crew.fail(one.read.number);
            throw abandoned{};
        }
        if (task.route == nullptr)
            tasks.putdone(task.put);
    }
}

void intake::route(router &records, routedpart &one) {
    if (!parts.next(one.read)) {
        tasks.nomore(one);
        return;
    }
    tasks.readdone();
    job.seen.fed(one.read.filled);
    records.route(one);
    tasks.routedone(one);
}

void intake::tell() {
    job.counts.shorts += parts.torn();
    if (ranges.count() > 1)
        job.counts.ranges = tasks.counts();
}

} // namespace command
