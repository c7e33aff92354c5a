// What one thread does with the records of parts: each is tested for what the plan asks
// ahead of a session, and what is left out is counted.
#pragma once

#include "kvern/flow/flowjob.h"
#include "kvern/records/part.h"
#include "kvern/system/failure.h"

#include <string_view>

namespace command {

class partworker {
  public:
    // Into the tallies of the job, which all threads share.
    void tell() const {
        job.counts.shorts += scanner.shorts();
        job.counts.dropped += dropped;
        job.counts.taken += taken;
    }

  protected:
    const flowjob &job;
    const jobplan &plan;
    const partreader &parts;
    const bool tested;    // records of this job are
    uint64_t dropped = 0; // by the filter
    uint64_t taken = 0;   // where no session counts them

    partworker(const flowjob &given, const partreader &reader)
        : job(given), plan(given.plan), parts(reader), tested(plan.teststaken()),
          scanner(plan.form) {}

    // Throws what `look` finds in the part, then what stands behind it.  Where records were
    // not counted the look is taken once more, to tell the record by its number.
    template <typename Look>
    void examine(part &one, Look look) {
        try {
            begin(one);
            look();
        } catch (const failure &) {
            if (one.counted)
                throw;
            one.first = parts.count(one);
            one.counted = true;
            begin(one);
            look();
            throw;
        }
        if (one.trouble)
            std::rethrow_exception(one.trouble);
    }
    // False: the record is left out for being short.
    bool pass(std::string_view data) {
        checkfeeds(plan.shape, data, scanner.linenumber() + 1, *source);
        return scanner.line(data);
    }

  private:
    textscanner scanner;
    const inputsource *source = nullptr;

    void begin(const part &one) {
        source = &job.sources[one.source];
        scanner.startsource(*source);
        scanner.behind(one.first - source->skippedrecords());
    }
};

} // namespace command
