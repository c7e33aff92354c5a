#include "kvern/flow/wholemerge.h"

#include "kvern/flow/exchange.h"
#include "kvern/flow/gathering.h"
#include "kvern/flow/jobsink.h"
#include "kvern/plan/plan.h"

#include <algorithm>
#include <deque>

namespace command {

namespace {

constexpr size_t readtogether = size_t{4} << 20, leastread = size_t{4} << 10;

class wholemerge {
  public:
    // `out` null: to be told what is wrong with the inputs.
    wholemerge(const flowjob &given, recordsink *to) : job(given), plan(given.plan), out(to) {
        const size_t room =
            std::clamp(readtogether / job.sources.size(), leastread, recordreader::usualroom);
        intakes.reserve(job.sources.size());
        for (inputsource &source : job.sources) {
            source.rewind();
            textscanner &tests = scanners.emplace_back(plan.form);
            tests.startsource(source);
            intakes.emplace_back(recordreader(source, plan.shape, room),
                                 plan.teststaken() ? &tests : nullptr, plan.form.dropshort);
        }
    }

    void run() {
        withsums(sumstop, [this] { merge(); });
        checksum(job, sumstop);
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
        what.prim.memsize =
            static_cast<uint32_t>(std::min<uint64_t>(job.storage.all(), KVRN_MEM_MAX));
        what.watcher = out != nullptr ? &job.seen : nullptr;
        session engine(what, sumstop);
        exchange records(engine, plan, intakes, what.watcher);
        std::string_view record;
        gathering whole([this](const void *data, size_t length) { out->write(data, length); });
        while (records.next(record)) {
            checksum(job, sumstop);
            if (out == nullptr)
                continue;
            if (plan.shape.kind == formkind::variable)
                out->put(record.data(), record.size());
            else
                whole.write(record.data(), record.size());
        }
        checksum(job, sumstop);
        whole.flush();
        engine.close();
    }
};

} // namespace

void mergewhole(const flowjob &job) {
    recordsink sink = sinkof(job);
    sink.write(job.header.data(), job.header.size());
    wholemerge(job, &sink).run();
    sink.finish();
}

void findfault(const flowjob &job) {
    wholemerge(job, nullptr).run();
}

} // namespace command
