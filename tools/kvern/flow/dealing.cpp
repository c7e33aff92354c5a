// The first half of a sort: records go by ranges of keys into files, so that each can be
// sorted by itself, wherever, and what comes out can be put behind each other.
#include "kvern/flow/intake.h"
#include "kvern/flow/probing.h"
#include "kvern/flow/rangefile.h"
#include "kvern/records/recordsink.h"
#include "kvern/system/report.h"

#include <algorithm>
#include <deque>

namespace command {

namespace {

constexpr size_t leastdigits = 2; // of a file's number

// PREFIX00, PREFIX01 ...: as many digits as the last one needs, so that a shell names them
// in their order.
std::string nameof(const std::string &prefix, size_t number, size_t ways) {
    const size_t width = std::max(leastdigits, std::to_string(ways - 1).size());
    const std::string digits = std::to_string(number);
    return prefix + std::string(width - digits.size(), '0') + digits;
}

class pile { // the file of one range
  public:
    pile(const flowjob &job, const std::string &path, const std::vector<fileidentity> &inputs)
        : file(path, job.options.tempdirs, inputs),
          records(
              [this](const void *data, size_t length) { file.write(data, length); }, job.plan.shape,
              [&job] { return job.options.blocksize == 0 ? longestblock : job.options.blocksize; },
              job.options.blocksize != 0) {}

    void put(std::string_view bytes) { records.putframed(bytes); }
    void finish() {
        records.finish();
        file.finish();
    }
    void commit() { file.commit(); }
    uint64_t bytes() const { return file.bytes(); }

  private:
    outputsink file;
    recordsink records;
};

class dealer {
  public:
    dealer(const flowjob &given, const keyranges &all, size_t ways)
        : job(given), input(given, all, true) {
        const std::vector<fileidentity> identities = identifyall(job.options.inputs);
        for (size_t i = 0; i < ways; ++i)
            piles.emplace_back(job, nameof(job.options.output, i, ways), identities);
    }

    void run() {
        input.threads().run([this](unsigned worker) {
            input.work(worker, [this](size_t range, std::string_view records) {
                piles[range].put(records);
            });
        });
        input.tell();
        for (const uint64_t records : input.counts())
            job.counts.taken += records;
        for (pile &one : piles) {
            one.finish();
            job.counts.outbytes += one.bytes();
        }
        for (inputsource &source : job.sources)
            source.close();
        for (pile &one : piles)
            one.commit();
    }

  private:
    const flowjob &job;
    intake input;
    std::deque<pile> piles;
};

keyranges rangesof(const flowjob &job, size_t keybytes) {
    const joboptions &options = job.options;
    if (!options.rangefile.empty())
        return readranges(options.rangefile, keybytes);
    if (options.sample.empty())
        return sampleranges(job.plan, job.sources, options.ways, false);
    std::vector<inputsource> sample;
    sample.emplace_back(options.sample);
    return sampleranges(job.plan, sample, options.ways, false);
}

} // namespace

void dealrecords(const flowjob &job) {
    const size_t keybytes = session(probing(job.plan)).keybytes();
    const keyranges ranges = rangesof(job, keybytes);
    // Where keys are few the last files stay empty.
    dealer(job, ranges, std::max<size_t>(job.options.ways, ranges.count())).run();
    printtext(rangetext(ranges, keybytes));
}

} // namespace command
