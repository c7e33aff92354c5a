// Each thread has sessions of its own, of ranges of keys: it puts what waits for them, and
// otherwise takes the next part of the inputs and routes it.  When all is routed the sizes
// of the ranges are known; then each session is ended and emptied, on its thread, in the
// order of ranges.
#include "kvern/flow/delivery.h"
#include "kvern/flow/flowjob.h"
#include "kvern/flow/schedule.h"

#include <algorithm>

namespace command {

namespace {

constexpr size_t partsathread = 3; // that are read, routed or wait
constexpr uint64_t smallparts = 4; // a whole input of so many needs one thread

unsigned threadsof(const flowjob &job) {
    uint64_t bytes = 0;
    for (const inputsource &source : job.sources)
        bytes += source.placed() ? source.size() : UINT32_MAX;
    return bytes <= smallparts * partbytes ? 1 : job.storage.jobs;
}

class sorter {
  public:
    sorter(const flowjob &given, const keyranges &all)
        : job(given), plan(given.plan), ranges(all), inorder(plan.form),
          parts(given.sources, {plan.shape, plan.form.dropshort,
                                plan.testsinorder() ? &inorder : nullptr}),
          crew(threadsof(given)), tasks(crew, all.count(), partsathread * crew.threads()),
          outputs(given, crew), sumstops(all.count()) {}

    void run() {
        crew.run([this](unsigned worker) { work(worker); });
        job.counts.shorts += inorder.shorts() + parts.torn();
        if (ranges.count() > 1)
            job.counts.ranges = tasks.counts();
        for (const uint32_t stop : sumstops)
            job.counts.sumstop = std::max(job.counts.sumstop, stop);
        outputs.finish();
    }

  private:
    const flowjob &job;
    const jobplan &plan;
    const keyranges &ranges;
    textscanner inorder; // of lines that have to be tested in their order
    partreader parts;
    team crew;
    schedule tasks;
    delivery outputs;
    std::vector<uint32_t> sumstops; // by range
    bool begun = false;

    using sessions = std::vector<std::unique_ptr<session>>; // of one thread

    void work(unsigned worker) {
        router records(plan, job.sources, parts, ranges);
        sessions mine;
        for (size_t range = worker; range < ranges.count(); range += crew.threads())
            mine.push_back(std::make_unique<session>(describe(range), sumstops[range]));
        schedule::task task;
        while (tasks.next(worker, task)) {
            if (task.route == nullptr)
                put(*mine[task.put.range / crew.threads()], task.put);
            else
                route(records, *task.route);
        }
        begin();
        size_t range = worker;
        for (std::unique_ptr<session> &one : mine) {
            drain(*one, range);
            one.reset();
            outputs.grow(job.storage.memory);
            range += crew.threads();
        }
        const std::lock_guard<std::mutex> held(crew.lock);
        job.counts.shorts += records.shorts();
        job.counts.dropped += records.dropped();
    }

    // Sessions begin to fill the directories for temporary files with different ones.
    description describe(size_t range) const {
        description what = plan.engine;
        std::vector<std::string> &dirs = what.workdirs;
        if (!dirs.empty())
            std::rotate(dirs.begin(),
                        dirs.begin() + static_cast<std::ptrdiff_t>(range % dirs.size()),
                        dirs.end());
        what.prim.memsize = job.storage.memory;
        what.watcher = &job.seen;
        return what;
    }

    void route(router &records, routedpart &one) {
        try {
            if (!parts.next(one.read)) {
                tasks.nomore(one);
                return;
            }
            job.seen.fed(one.read.filled);
            records.route(one);
        } catch (...) {
            crew.fail(one.read.number);
            throw abandoned{};
        }
        tasks.routedone(one);
    }

    void put(session &engine, const batch &one) {
        const std::string_view bytes = one.from->slices[one.range];
        try {
            if (plan.view.text)
                walkrecords(plan.shape, bytes, [&](std::string_view raw, std::string_view) {
                    engine.put(raw.data(), static_cast<uint32_t>(raw.size()));
                });
            else
                engine.put(bytes.data(), static_cast<uint32_t>(bytes.size()));
        } catch (...) {
            crew.fail(one.from->read.number);
            throw abandoned{};
        }
        tasks.putdone(one);
    }

    void begin() {
        const std::lock_guard<std::mutex> held(crew.lock);
        if (!begun)
            outputs.begin(tasks.counts(), tasks.sizes());
        begun = true;
    }

    void drain(session &engine, size_t range) {
        const auto look = [&] {
            if (sumstops[range] != 0 && !job.options.warnoverflow)
                throw sumended{sumstops[range], false};
        };
        try {
            engine.endinput();
            look();
            outputs.drain(engine, range, look);
            engine.close();
        } catch (const enginefailure &) {
            // Where the last sum found no room its record is lost, and the engine's account
            // of records tells.
            if (sumstops[range] != 0)
                throw sumended{sumstops[range], true};
            throw;
        }
        look();
    }
};

} // namespace

void sortrecords(const flowjob &job) {
    const keyranges ranges = job.storage.sessions > 1
                                 ? sampleranges(job.plan, job.sources, job.storage.sessions)
                                 : keyranges();
    sorter(job, ranges).run();
}

} // namespace command
