// Each thread has sessions of its own, of ranges of keys: it puts what waits for them, and
// otherwise takes the next part of the inputs and routes it.  When all is routed the sizes
// of the ranges are known; then each session is ended and emptied, on its thread, in the
// order of ranges.
#include "kvern/flow/delivery.h"
#include "kvern/flow/intake.h"
#include "kvern/plan/reach.h"

#include <algorithm>
#include <cstring>

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
            outputs.begin(sizes());
        begun = true;
    }
    // Bytes that come out of each range.  Several ranges hold what the filter takes; a
    // session by itself has still to ask it: not known.
    std::vector<uint64_t> sizes() const {
        if (ranges.count() == 1 && !plan.engine.conditions.entries.empty())
            return {};
        std::vector<uint64_t> all = input.sizes();
        for (size_t range = 0; range < all.size(); ++range) {
            const uint64_t records = input.counts()[range];
            if (plan.shape.kind == formkind::variable)
                all[range] -= records * (lengthword - plan.shape.frame->prefix);
            else if (plan.shape.kind == formkind::fixed && !plan.pieces.empty())
                all[range] = records * rebuiltlength(plan);
        }
        return all;
    }

    // What ends the run is told of the first range.
    void drain(session &engine, size_t range) {
        try {
            finish(engine, range);
        } catch (...) {
            input.threads().fail(UINT64_MAX / 2 + range);
            throw abandoned{};
        }
    }

    void finish(session &engine, size_t range) {
        const auto look = [&] { checksum(job, sumstops[range]); };
        withsums(sumstops[range], [&] {
            engine.endinput();
            look();
            outputs.put(range, [&](gathering &out) {
                pump(engine, out, look);
                look();
            });
            engine.close();
        });
        look();
    }

    // What goes to the output are whole records.
    template <typename Look>
    void pump(session &engine, gathering &out, Look look) const {
        const void *data;
        uint32_t length;
        std::string framed;
        while (engine.get(&data, &length)) {
            look();
            if (plan.shape.kind != formkind::variable) {
                out.write(data, length);
                continue;
            }
            auto from = static_cast<const char *>(data);
            for (const char *end = from + length; from < end;) {
                uint32_t bytes;
                std::memcpy(&bytes, from, lengthword);
                framed.clear();
                addprefix(*plan.shape.frame, bytes, framed);
                framed.append(from + lengthword, bytes);
                out.write(framed.data(), framed.size());
                from += lengthword + bytes;
            }
        }
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
