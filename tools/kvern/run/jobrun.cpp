#include "kvern/run/jobrun.h"

#include "kvern/flow/flowjob.h"
#include "kvern/options/optioncheck.h"
#include "kvern/plan/plan.h"
#include "kvern/plan/storage.h"
#include "kvern/plan/textneeds.h"
#include "kvern/records/blocks.h"
#include "kvern/records/headers.h"
#include "kvern/run/explain.h"
#include "kvern/run/failures.h"
#include "kvern/run/statistics.h"

#include <algorithm>
#include <optional>

namespace command {

namespace {

constexpr uint32_t keptshare = 8; // of the storage, that a stream may have in memory

showing modeof(const joboptions &options) {
    if (options.progress == "auto")
        return isterminal(standarderror) && !options.quiet ? showing::late : showing::never;
    return options.progress == "always" ? showing::always : showing::never;
}

// A merge and a copy write blocks before they have read all.
bool mustmeasureblocks(const joboptions &options, const recordshape &shape) {
    return shape.blocked() && options.blocksize == 0 &&
           (options.kind == jobkind::merge || options.kind == jobkind::copy);
}

// What has to be looked through before the plan stands is kept; the memory for that is
// taken from the sessions.
void keepstreams(const joboptions &options, const jobplan &plan, std::vector<inputsource> &sources,
                 storageplan &storage, watch &seen) {
    const bool byblocks = mustmeasureblocks(options, plan.shape);
    const bool measured = mustlook(options, plan);
    const uint32_t share = storage.memory / keptshare;
    bool kept = false;
    for (inputsource &source : sources) {
        if (source.placed() || !(byblocks || (measured && !source.aheadisall())))
            continue;
        source.keep(static_cast<size_t>(share * storage.sessions / sources.size()),
                    options.tempdirs, [&](size_t bytes) { seen.looked(bytes); });
        kept = true;
    }
    if (byblocks)
        measureblocks(sources, plan.shape);
    if (!kept)
        return;
    storage = planstorage(options, sources, true); // of inputs whose sizes are known now
    storage.memory = std::max<uint32_t>(storage.memory - share, KVRN_MEM_MIN);
}

void explainsession(const joboptions &options, const std::vector<inputsource> &sources,
                    const jobplan &plan, const storageplan &storage) {
    try {
        explainjob(options, sources, plan, storage);
    } catch (const enginefailure &what) {
        throw translate(what, options, sources);
    }
}

using flow = void (*)(const flowjob &);
constexpr flow flows[] = {sortrecords, mergerecords, copyrecords, checkrecords,
                          dealrecords}; // by jobkind

// In the user's words.
void perform(const flowjob &job) {
    try {
        flows[static_cast<size_t>(job.options.kind)](job);
    } catch (const enginefailure &what) {
        throw translate(what, job.options, job.sources);
    } catch (const sumended &what) {
        throw sumfailure(what.detail, job.options, what.lost);
    }
}

void place(const flowjob &job) {
    if (std::any_of(job.sources.begin(), job.sources.end(),
                    [](const inputsource &one) { return one.endedatmark(); }))
        job.target->append("\x1A", 1);
    job.target->finish();
    // Where open files are locked the output can take the place of an input only now.
    for (inputsource &source : job.sources)
        source.close();
    job.target->commit();
}

} // namespace

void runjob(const joboptions &options) {
    checkoptions(options);
    const std::vector<fileidentity> identities = identifyall(options.inputs);
    std::vector<inputsource> sources = opensources(options.inputs);
    const recordshape shape = findshape(options, sources);
    jobplan plan = startplan(options, shape);
    if (options.framing == "rdw")
        refuseblocks(sources);
    std::string header;
    if (options.header != 0)
        header = takeheaders(sources, shape, options.header);
    const std::string output = options.tofile() ? options.output : "";
    std::optional<outputsink> target;
    if (!options.explain && options.kind != jobkind::check && options.kind != jobkind::deal)
        target.emplace(output, options.tempdirs, identities);
    storageplan storage = planstorage(options, sources);
    watch seen(modeof(options), options.kind == jobkind::sort ? 2 : 1);
    const auto finish = [&] {
        finishplan(options, sources, storage.jobs, seen, plan);
        if (options.kind == jobkind::sort)
            heedlength(storage, plan.engine.prim.reclen);
    };
    if (options.explain) {
        finish();
        explainsession(options, sources, plan, storage);
        return;
    }
    tallies counts;
    const flowjob job{options, plan, sources, storage, header, seen, target ? &*target : nullptr,
                      counts};
    const auto tell = [&](bool done) {
        seen.clear();
        if (!options.stats.empty())
            printstatistics(job, done);
    };
    try {
        keepstreams(options, plan, sources, storage, seen);
        seen.expect(allplaced(sources) ? placedbytes(sources) : 0);
        finish();
        perform(job);
        if (target)
            place(job);
    } catch (...) {
        tell(false);
        throw;
    }
    tell(true);
    if (counts.sumstop != 0)
        throw sumfailure(counts.sumstop, options, false);
}

} // namespace command
