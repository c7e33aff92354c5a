// A merge in ranges of keys, where the inputs can be cut; otherwise in one session.  What
// fails in ranges is told by a merge in one session, which finds the fault that is earliest.
#include "kvern/flow/rangemerge.h"
#include "kvern/flow/wholemerge.h"
#include "kvern/system/failure.h"

#include <algorithm>
#include <optional>

namespace command {

namespace {

constexpr uint64_t rangebytes = uint64_t{1} << 20;
constexpr uint64_t mostslices = 16384; // of all inputs and ranges

unsigned threadsof(const flowjob &job) {
    const jobplan &plan = job.plan;
    const uint64_t most = job.storage.all() / leaststorage;
    const bool inorder =
        plan.shape.kind == formkind::variable || (!plan.sums.empty() && job.options.warnoverflow);
    const bool placed =
        std::all_of(job.sources.begin(), job.sources.end(),
                    [](const inputsource &one) { return one.placed() && !one.endsatmark(); });
    return inorder || !placed
               ? 1
               : static_cast<unsigned>(std::clamp<uint64_t>(most, 1, job.storage.jobs));
}

std::optional<mergecuts> cutinputs(const flowjob &job, unsigned threads) {
    const uint64_t bytes = placedbytes(job.sources);
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
        mergeranges(job, *cuts, threads);
    } catch (const failure &what) {
        if (what.code == ending::data || what.code == ending::notinorder)
            findfault(job);
        throw;
    } catch (const sumended &) {
        findfault(job);
        throw;
    } catch (const enginefailure &) {
        findfault(job);
        throw;
    }
}

} // namespace command
