#include "kvern/flow/rangemerge.h"

#include "kvern/flow/delivery.h"
#include "kvern/flow/exchange.h"
#include "kvern/plan/plan.h"
#include "kvern/plan/reach.h"

#include <algorithm>
#include <optional>

namespace command {

namespace {

constexpr size_t leastread = size_t{4} << 10, mostread = size_t{32} << 10;
constexpr size_t readathread = size_t{1} << 20;

class rangemerge {
  public:
    rangemerge(const flowjob &given, const mergecuts &all, unsigned threads)
        : job(given), plan(given.plan), cuts(all), prototype(planmerge(plan, given.sources.size())),
          crew(threads), outputs(given, crew), records(cuts.ranges()) {
        prototype.watcher = &job.seen;
    }

    void run() {
        outputs.begin(sizes());
        crew.run([this](unsigned) { work(); });
        job.counts.ranges = records;
    }

  private:
    const flowjob &job;
    const jobplan &plan;
    const mergecuts &cuts;
    description prototype;
    team crew;
    delivery outputs;
    std::vector<uint64_t> records; // of each range

    // Bytes that come out of each range; not known where records are left out.
    std::vector<uint64_t> sizes() const {
        if (job.options.wheregiven || plan.form.dropshort)
            return {};
        const bool resized = plan.shape.kind == formkind::fixed && !plan.pieces.empty();
        std::vector<uint64_t> all;
        for (size_t range = 0; range < cuts.ranges(); ++range) {
            const uint64_t bytes = cuts.bytesahead(range + 1) - cuts.bytesahead(range);
            all.push_back(resized ? bytes / plan.shape.length * rebuiltlength(plan) : bytes);
        }
        return all;
    }

    void work() {
        textscanner tests(plan.form);
        const atlast told(crew, [&] { job.counts.shorts += tests.shorts(); });
        for (size_t range; crew.take(cuts.ranges(), range);) {
            try {
                outputs.put(range, [&](gathering &out) { merge(range, tests, out); });
            } catch (...) {
                crew.fail(range);
                throw abandoned{};
            }
        }
        outputs.rest(cuts.ranges());
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
        const uint64_t enough =
            leaststorage + (inputs + 2) * (4 * uint64_t{what.prim.reclen} + 512);
        what.prim.memsize = static_cast<uint32_t>(std::min<uint64_t>(job.storage.memory, enough));
        try {
            engine.emplace(what, sumstop);
        } catch (const enginefailure &) {
            what.prim.memsize = job.storage.memory;
            engine.emplace(what, sumstop);
        }
    }

    void merge(size_t range, textscanner &tests, gathering &out) {
        std::vector<recordintake> intakes = intakesof(range, tests);
        if (intakes.empty())
            return;
        uint32_t sumstop = 0;
        std::optional<session> engine;
        open(engine, intakes.size(), sumstop);
        exchange merged(*engine, plan, intakes, &job.seen);
        std::string_view record;
        uint64_t count = 0;
        while (merged.next(record)) {
            checksum(job, sumstop);
            out.write(record.data(), record.size());
            ++count;
        }
        checksum(job, sumstop);
        records[range] = count;
        engine->close();
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
