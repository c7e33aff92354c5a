// A merge in ranges of keys, each by a session of its own over slices of the inputs, where
// the inputs can be cut; otherwise in one session.  What fails in ranges is told by a merge
// in one session, which finds the fault that is earliest.
#include "kvern/flow/exchange.h"
#include "kvern/flow/gathering.h"
#include "kvern/flow/jobsink.h"
#include "kvern/flow/lanes.h"
#include "kvern/flow/mergecuts.h"
#include "kvern/plan/plan.h"
#include "kvern/plan/reach.h"
#include "kvern/system/failure.h"

#include <algorithm>
#include <deque>
#include <optional>

namespace command {

namespace {

constexpr uint64_t aheadathread = uint64_t{512} << 10; // bytes of output that may wait
constexpr uint64_t rangebytes = uint64_t{1} << 20;     // half of what waits, so that two do
constexpr uint64_t mostslices = 16384;                 // of all inputs and ranges
constexpr size_t leastread = size_t{4} << 10, mostread = size_t{32} << 10;
constexpr size_t readathread = size_t{1} << 20, readalone = size_t{16} << 20;
constexpr uint64_t leastmemory = uint64_t{64} << 10;

size_t readroom(size_t inputs, size_t all, size_t most) {
    return std::clamp(all / inputs, leastread, most);
}

// What records are tested for: nothing is left of fixed ones, and of others only which of
// them are short where all were looked at.
bool wantstests(const jobplan &plan) {
    return plan.shape.kind != formkind::fixed && (!plan.allseen || plan.form.dropshort);
}

// ---- one session ----------------------------------------------------------------------

class wholemerge {
  public:
    // `out` null: to be told what is wrong with the inputs.
    wholemerge(const flowjob &given, recordsink *to) : job(given), plan(given.plan), out(to) {
        const size_t room = readroom(job.sources.size(), readalone, recordreader::usualroom);
        intakes.reserve(job.sources.size());
        for (inputsource &source : job.sources) {
            source.rewind();
            textscanner &tests = scanners.emplace_back(plan.form);
            tests.startsource(source);
            intakes.emplace_back(recordreader(source, plan.shape, room),
                                 wantstests(plan) ? &tests : nullptr, plan.form.dropshort);
        }
    }

    void run() {
        try {
            merge();
        } catch (const enginefailure &) {
            // Where the last sum found no room its record is lost, and the engine's account
            // of records tells.
            if (sumstop != 0)
                throw sumended{sumstop, true};
            throw;
        }
        checksum();
        if (out == nullptr)
            return;
        job.counts.sumstop = sumstop;
        for (const textscanner &one : scanners)
            job.counts.shorts += one.shorts();
        for (const recordintake &one : intakes)
            job.counts.shorts += one.record().torn() ? 1u : 0u;
    }

  private:
    const flowjob &job;
    const jobplan &plan;
    recordsink *out;
    std::deque<textscanner> scanners;
    std::vector<recordintake> intakes;
    uint32_t sumstop = 0;

    void merge() {
        description what = planmerge(plan, job.sources.size());
        const uint64_t memory = uint64_t{job.storage.memory} * job.storage.sessions;
        what.prim.memsize = static_cast<uint32_t>(std::min<uint64_t>(memory, KVRN_MEM_MAX));
        what.watcher = out != nullptr ? &job.seen : nullptr;
        session engine(what, sumstop);
        exchange records(engine, plan, intakes);
        std::string_view record;
        gathering whole([this](const void *data, size_t length) { out->write(data, length); });
        while (records.next(record)) {
            checksum();
            if (out == nullptr)
                continue;
            if (plan.shape.kind == formkind::variable)
                out->put(record.data(), record.size());
            else
                whole.write(record.data(), record.size());
        }
        checksum();
        whole.flush();
        engine.close();
    }
    // A sum that stopped ends the run unless a warning is enough.
    void checksum() const {
        if (sumstop != 0 && !job.options.warnoverflow)
            throw sumended{sumstop, false};
    }
};

void mergewhole(const flowjob &job) {
    recordsink sink = sinkof(job);
    sink.write(job.header.data(), job.header.size());
    wholemerge(job, &sink).run();
    sink.finish();
}

// ---- ranges ---------------------------------------------------------------------------

class rangemerge {
  public:
    rangemerge(const flowjob &given, const mergecuts &all, unsigned threads)
        : job(given), plan(given.plan), cuts(all), prototype(planmerge(plan, given.sources.size())),
          crew(threads),
          ordered(
              crew, [this](const void *data, size_t length) { job.target->write(data, length); },
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
            all.emplace_back(recordreader(job.sources[input], plan.shape, cuts.slice(input, range),
                                          readroom(inputs.size(), readathread, mostread)),
                             wantstests(plan) ? &tests : nullptr, plan.form.dropshort);
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
        exchange merged(*engine, plan, intakes);
        gathering out(to);
        std::string_view record;
        while (sumstop == 0 && merged.next(record)) {
            out.write(record.data(), record.size());
            ++records[range];
        }
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

unsigned threadsof(const flowjob &job) {
    const jobplan &plan = job.plan;
    const uint64_t memory = uint64_t{job.storage.memory} * job.storage.sessions;
    const bool inorder =
        plan.shape.kind == formkind::variable || (!plan.sums.empty() && job.options.warnoverflow);
    const bool placed =
        std::all_of(job.sources.begin(), job.sources.end(),
                    [](const inputsource &one) { return one.placed() && !one.endsatmark(); });
    return inorder || !placed ? 1
                              : static_cast<unsigned>(std::clamp<uint64_t>(memory / leastmemory, 1,
                                                                           job.storage.jobs));
}

std::optional<mergecuts> cutinputs(const flowjob &job, unsigned threads) {
    uint64_t bytes = 0;
    for (const inputsource &source : job.sources)
        bytes += source.size();
    if (threads == 1 || bytes < 2 * rangebytes)
        return {};
    try {
        return mergecuts(job, threads,
                         std::max(rangebytes, bytes / mostslices * job.sources.size()));
    } catch (const uncut &) {
    } catch (const enginefailure &) {
    } catch (const failure &what) {
        if (what.code != ending::data)
            throw;
    }
    return {};
}

} // namespace

void mergerecords(const flowjob &job) {
    const unsigned threads = threadsof(job);
    const std::optional<mergecuts> cuts = cutinputs(job, threads);
    if (!cuts) {
        mergewhole(job);
        return;
    }
    try {
        rangemerge(job, *cuts, threads).run();
    } catch (const failure &what) {
        if (what.code == ending::data || what.code == ending::notinorder)
            wholemerge(job, nullptr).run();
        throw;
    } catch (const sumended &) {
        wholemerge(job, nullptr).run();
        throw;
    } catch (const enginefailure &) {
        wholemerge(job, nullptr).run();
        throw;
    }
}

} // namespace command
