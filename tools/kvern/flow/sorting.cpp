// Each thread has sessions of its own, of ranges of keys: it puts what waits for them, and
// otherwise takes the next part of the inputs and routes it.  When all is routed the sizes
// of the ranges are known; then each session is ended and emptied, on its thread, in the
// order of ranges.
#include "kvern/flow/delivery.h"
#include "kvern/flow/intake.h"

#include <algorithm>

namespace command {

namespace {

class sorter {
  public:
    sorter(const flowjob &given, const keyranges &all)
        : job(given), plan(given.plan), ranges(all), input(given, all, false),
          outputs(given, input.threads()), sumstops(all.count()) {}

    void run() {
        input.threads().run([this](unsigned worker) { work(worker); });
        input.tell();
        for (const uint32_t stop : sumstops)
            job.counts.sumstop = std::max(job.counts.sumstop, stop);
        outputs.finish();
    }

  private:
    const flowjob &job;
    const jobplan &plan;
    const keyranges &ranges;
    intake input;
    delivery outputs;
    std::vector<uint32_t> sumstops; // by range
    bool begun = false;

    void work(unsigned worker) {
        const unsigned threads = input.threads().threads();
        std::vector<std::unique_ptr<session>> mine;
        for (size_t range = worker; range < ranges.count(); range += threads)
            mine.push_back(std::make_unique<session>(describe(range), sumstops[range]));
        input.work(worker, [&](size_t range, std::string_view records) {
            put(*mine[range / threads], records);
        });
        begin();
        size_t range = worker;
        for (std::unique_ptr<session> &one : mine) {
            drain(*one, range);
            one.reset();
            outputs.grow(job.storage.memory);
            range += threads;
        }
        outputs.rest(ranges.count());
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

    void put(session &engine, std::string_view records) const {
        if (plan.view.text)
            walkrecords(plan.shape, records, [&](std::string_view raw, std::string_view) {
                engine.put(raw.data(), static_cast<uint32_t>(raw.size()));
            });
        else
            engine.put(records.data(), static_cast<uint32_t>(records.size()));
    }

    void begin() {
        const std::lock_guard<std::mutex> held(input.threads().lock);
        if (!begun)
            outputs.begin(input.counts(), input.sizes());
        begun = true;
    }

    // What ends the run is told of the first range.
    void drain(session &engine, size_t range) {
        try {
            finish(engine, range);
        } catch (const abandoned &) {
            throw;
        } catch (...) {
            input.threads().fail(UINT64_MAX / 2 + range);
            throw abandoned{};
        }
    }

    void finish(session &engine, size_t range) {
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
                                 ? sampleranges(job.plan, job.sources, job.storage.sessions, true)
                                 : keyranges();
    sorter(job, ranges).run();
}

} // namespace command
