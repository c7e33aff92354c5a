#include "kvern/flow/rangemerge.h"

#include "kvern/flow/exchange.h"
#include "kvern/flow/gathering.h"
#include "kvern/flow/lanes.h"
#include "kvern/plan/plan.h"
#include "kvern/plan/reach.h"
#include "kvern/system/failure.h"

#include <algorithm>
#include <optional>

namespace command {

namespace {

constexpr uint64_t aheadathread = uint64_t{512} << 10; // bytes of output that may wait
constexpr size_t leastread = size_t{4} << 10, mostread = size_t{32} << 10;
constexpr size_t readathread = size_t{1} << 20;
constexpr uint64_t leastmemory = uint64_t{64} << 10;

class rangemerge {
  public:
    rangemerge(const flowjob &given, const mergecuts &all, unsigned threads)
        : job(given), plan(given.plan), cuts(all), prototype(planmerge(plan, given.sources.size())),
          crew(threads),
          ordered(
              crew, [this](const void *data, size_t length) { job.target->append(data, length); },
              aheadathread * threads),
          placed(sizesknown()), records(cuts.ranges()) {
        prototype.watcher = &job.seen;
    }

    void run() {
        if (placed)
            job.target->writeat(0, job.header.data(), job.header.size());
        else
            job.target->write(job.header.data(), job.header.size());
        crew.run([this](unsigned) { work(); });
        job.counts.ranges = records;
    }

  private:
    const flowjob &job;
    const jobplan &plan;
    const mergecuts &cuts;
    description prototype;
    team crew;
    lanes ordered;
    bool placed;
    std::vector<uint64_t> records; // of each range
    size_t next = 0;               // range

    bool sizesknown() const {
        const bool folded = job.options.unique || !plan.sums.empty();
        const bool chosen = job.options.wheregiven || plan.form.dropshort;
        const bool rebuilt = !plan.pieces.empty() && plan.shape.kind != formkind::fixed;
        return job.target->placeable() && !folded && !chosen && !rebuilt;
    }
    uint64_t outplace(size_t range) const {
        const uint64_t bytes = cuts.bytesahead(range);
        const bool rebuilt = !plan.pieces.empty();
        return job.header.size() +
               (rebuilt ? bytes / plan.shape.length * rebuiltlength(plan) : bytes);
    }

    void work() {
        textscanner tests(plan.form);
        const atlast told(crew, [&] { job.counts.shorts += tests.shorts(); });
        for (size_t range; take(range);) {
            try {
                merge(range, tests);
            } catch (...) {
                crew.fail(range);
                throw abandoned{};
            }
        }
        if (!placed)
            ordered.rest(cuts.ranges());
    }
    bool take(size_t &range) {
        const std::lock_guard<std::mutex> held(crew.lock);
        range = next;
        return !crew.failed() && next++ < cuts.ranges();
    }

    void merge(size_t range, textscanner &tests) {
        if (!placed) {
            pass(range, tests,
                 [&](const void *data, size_t length) { ordered.write(range, data, length); });
            ordered.finish(range);
            return;
        }
        uint64_t place = outplace(range);
        const uint64_t end = outplace(range + 1);
        pass(range, tests, [&](const void *data, size_t length) {
            if (length > end - place)
                throw failure{ending::internal, "a session gives more than it took", ""};
            job.target->writeat(place, data, length);
            place += length;
        });
        if (place != end)
            throw failure{ending::internal, "a session gives less than it took", ""};
    }

    std::vector<recordintake> intakesof(size_t range, textscanner &tests) {
        std::vector<size_t> inputs;
        for (size_t input = 0; input < job.sources.size(); ++input)
            if (cuts.slice(input, range).from < cuts.slice(input, range).to)
                inputs.push_back(input);
        std::vector<recordintake> all;
        all.reserve(inputs.size());
        for (const size_t input : inputs)
            all.emplace_back(
                recordreader(job.sources[input], plan.shape, cuts.slice(input, range),
                             std::clamp(readathread / inputs.size(), leastread, mostread)),
                plan.teststaken() ? &tests : nullptr, plan.form.dropshort);
        return all;
    }

    // What a merge of few bytes needs is less by far than it may have, and is had sooner.
    void open(std::optional<session> &engine, size_t inputs, uint32_t &sumstop) const {
        description what = prototype;
        what.prim.mergecnt = static_cast<uint32_t>(inputs);
        const uint64_t enough = leastmemory + (inputs + 2) * (4 * uint64_t{what.prim.reclen} + 512);
        what.prim.memsize = static_cast<uint32_t>(std::min<uint64_t>(job.storage.memory, enough));
        try {
            engine.emplace(what, sumstop);
        } catch (const enginefailure &) {
            what.prim.memsize = job.storage.memory;
            engine.emplace(what, sumstop);
        }
    }

    void pass(size_t range, textscanner &tests, const gathering::writer &to) {
        std::vector<recordintake> intakes = intakesof(range, tests);
        if (intakes.empty())
            return;
        uint32_t sumstop = 0;
        std::optional<session> engine;
        open(engine, intakes.size(), sumstop);
        exchange merged(*engine, plan, intakes, &job.seen);
        gathering out(to);
        std::string_view record;
        uint64_t count = 0;
        while (sumstop == 0 && merged.next(record)) {
            out.write(record.data(), record.size());
            ++count;
        }
        records[range] = count;
        if (sumstop == 0)
            engine->close();
        if (sumstop != 0)
            throw sumended{sumstop, false};
        out.flush();
        settletorn(intakes);
    }
    void settletorn(const std::vector<recordintake> &intakes) {
        const std::lock_guard<std::mutex> held(crew.lock);
        for (const recordintake &one : intakes)
            job.counts.shorts += one.record().torn() ? 1u : 0u;
    }
};

} // namespace

void mergeranges(const flowjob &job, const mergecuts &cuts, unsigned threads) {
    rangemerge(job, cuts, threads).run();
}

} // namespace command
