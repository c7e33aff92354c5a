// One planned session, or the copying in its place, from its inputs to its output.
#pragma once

#include "kvern/plan/jobplan.h"
#include "kvern/records/recordsink.h"
#include "kvern/run/feeding.h"
#include "kvern/run/statistics.h"
#include "kvern/system/workfile.h"

#include <string>
#include <vector>

namespace command {

// What was read of the inputs.
struct intakefacts {
    uint64_t header = 0, shorts = 0; // records
    uint64_t bytes = 0;
    uint32_t largestblock = 0;
};

class job {
  public:
    // `earlier`: what was read into the scratch files that are the sources here.
    job(const joboptions &given, std::vector<inputsource> &inputs, jobplan &planned, watch &looker,
        const std::string &leading, uint64_t shorts, const intakefacts *earlier = nullptr);

    // Null: a check, which has no output.
    void run(outputsink *target);
    // A part of a merge.
    void runinto(scratchfile &file);
    // Complete when all was read.
    intakefacts taken() const;

  private:
    const joboptions &options;
    std::vector<inputsource> &sources;
    jobplan &plan;
    const std::string &header;
    const intakefacts *before; // null: the sources are the inputs
    tally counts;
    watch &seen;
    uint64_t bytesbefore, written = 0; // in earlier sessions
    uint32_t sumstop = 0;

    uint64_t inbytes() const { return seen.counters().inbytes - bytesbefore; }
    template <typename Work>
    void attempt(Work work);
    runfacts facts() const;
    void checksum() const;
    lookat checking() const;
    void checkread() const;
    void closesources();
    void writefile(outputsink &out);
    void pass(const recordsink::writer &to);
    void deliver(outputsink &out);
    uint32_t blocksize() const;
    void runsession(recordsink *out);
};

} // namespace command
