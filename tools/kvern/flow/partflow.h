// Parts that several threads work at, each of which ends in its turn.
#pragma once

#include "kvern/flow/flowjob.h"
#include "kvern/records/part.h"
#include "kvern/system/failure.h"
#include "kvern/system/signals.h"
#include "kvern/system/team.h"

namespace command {

// More than any that matters where there are streams.
inline uint64_t bytesabout(const flowjob &job) {
    return allplaced(job.sources) ? placedbytes(job.sources) : UINT32_MAX;
}

// One thread is enough for small inputs.
inline unsigned threadsfor(const flowjob &job) {
    constexpr uint64_t smallparts = 8;
    return bytesabout(job) <= smallparts * partbytes ? 1 : job.storage.jobs;
}

inline partrules rulesof(const flowjob &job, size_t bytes = partbytes) {
    return {job.plan.shape, job.plan.form.dropshort, false, bytes};
}

// Each thread has a worker of parts: take(part); end(part) when those ahead of it were
// ended; after(), what is left then.  `Shared` is what they work at together in end().
template <typename Worker, typename Shared>
class partflow {
  public:
    partflow(const flowjob &given, Shared &common)
        : job(given), shared(common), parts(given.sources, rulesof(given)),
          crew(threadsfor(given)) {}

    void run() {
        crew.run([this](unsigned) { work(); });
        job.counts.shorts += parts.torn();
    }

  private:
    const flowjob &job;
    Shared &shared;
    partreader parts;
    team crew;
    uint64_t next = 0; // part to be ended

    void work() {
        Worker mine(job, parts, shared);
        const atlast told(crew, [&] { mine.tell(); });
        part one;
        try {
            while (goeson() && parts.next(one)) {
                mine.take(one);
                job.seen.fed(one.filled);
                await(one.number);
                mine.end(one);
                pass();
                mine.after();
            }
        } catch (...) {
            crew.fail(one.number);
            throw abandoned{};
        }
    }
    bool goeson() {
        if (stopwanted())
            throw stopped{};
        const std::lock_guard<std::mutex> held(crew.lock);
        return !crew.failed();
    }
    void await(uint64_t number) {
        std::unique_lock<std::mutex> held(crew.lock);
        crew.await(held, [&] { return next == number; });
    }
    void pass() {
        const std::lock_guard<std::mutex> held(crew.lock);
        ++next;
        crew.changed();
    }
};

} // namespace command
