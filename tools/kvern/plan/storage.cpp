#include "kvern/plan/storage.h"

#include "kvern.h"
#include "kvern/options/arguments.h"
#include "kvern/system/machine.h"
#include "kvern/system/report.h"

#include <algorithm>

namespace command {

namespace {

constexpr uint64_t megabyte = uint64_t{1} << 20;
constexpr uint64_t largeststorage = KVRN_MEM_MAX; // of a session
constexpr unsigned defaultjobs = 8;               // at most
constexpr size_t defaultsessions = 64;            // at most
constexpr size_t unknownsessions = 16;            // for an input that may be of any size
constexpr uint64_t sessioninput = 150 * megabyte; // that still makes few strings in a session
constexpr uint64_t leastinput = megabyte;         // that is worth a session
constexpr uint64_t leastshare = megabyte;         // of -S, that is worth a session
constexpr uint64_t machineshare = 8;
constexpr uint64_t recordsheld = 48; // at least, by a session, beside its tables
constexpr size_t otherfiles = 2;     // the output, and what the system opens

uint64_t partsof(uint64_t whole, uint64_t part) {
    return (whole + part - 1) / part;
}

// Of all inputs; 0 where that is not known.  Who asks for threads has them for every stream.
uint64_t bytesof(const joboptions &options, std::vector<inputsource> &sources) {
    uint64_t bytes = 0;
    for (inputsource &source : sources) {
        if (!source.placed() && options.kind == jobkind::sort && options.jobs == 0)
            source.readahead();
        if (!source.placed() && (options.jobs != 0 || !source.aheadisall()))
            return 0;
        bytes += source.placed() ? source.size() : source.ahead().size();
    }
    return std::max<uint64_t>(bytes, 1);
}

// Each thread has as many, but where there are fewer than threads.
size_t evenly(uint64_t sessions, unsigned jobs) {
    return static_cast<size_t>(sessions > jobs ? sessions / jobs * jobs
                                               : std::max<uint64_t>(sessions, 1));
}

// As much of -S as can be had, 0 where it was not given.
uint64_t storagegiven(const joboptions &options, const machinefacts &machine, bool told) {
    if (options.memory.empty())
        return 0;
    const uint64_t bytes = memorysize(options.memory);
    const uint64_t most = std::max(machine.addresses / 4 * 3, leaststorage); // the rest: others
    if (bytes < leaststorage && !told)
        printnote("-S " + options.memory + ": the engine needs at least 64K");
    if (bytes > most && !told)
        printnote("-S " + options.memory + ": this process can address no more than " +
                  std::to_string(most / megabyte) + "M for it");
    return std::clamp(bytes, leaststorage, most);
}

// A session's storage costs time where it is laid out: no more than keeps that much input
// in core, whatever its records look like.
uint32_t enoughfor(uint64_t bytes) {
    constexpr uint64_t mostgrowth = 12; // of records as short as a line of one byte
    return static_cast<uint32_t>(std::min(4 * leaststorage + mostgrowth * bytes, largeststorage));
}

// What the room of descriptors leaves: a session has a temporary file in each directory.
size_t mostopen(const joboptions &options, const std::vector<inputsource> &sources, unsigned jobs,
                size_t sessions) {
    const size_t each = std::max<size_t>(options.tempdirs.size(), 1);
    size_t inputs = 0;
    for (const inputsource &one : sources)
        inputs += one.isfile() ? 1 : 0; // of which streams are open already
    if (!sources.empty() && sources.front().isscarce())
        inputs = std::min<size_t>(inputs, jobs);
    const size_t others = inputs + otherfiles;
    const size_t room = freedescriptors(others + sessions * each);
    return std::max<size_t>((room - std::min(room, others)) / each, 1);
}

uint64_t sessionsof(const joboptions &options, uint64_t given, uint64_t bytes, unsigned jobs,
                    const machinefacts &machine) {
    if (options.warnoverflow && !options.sums.empty())
        return 1; // where a sum stops, all behind it stays unfolded
    uint64_t count = jobs;
    uint64_t most = options.kind == jobkind::sort ? UINT64_MAX : jobs;
    if (given != 0) {
        count =
            std::max(partsof(given, largeststorage), std::min<uint64_t>(jobs, given / leastshare));
    } else {
        const uint64_t room = std::min(machine.memory, machine.addresses) / machineshare;
        const uint64_t wanted = bytes == 0 ? unknownsessions : partsof(bytes, sessioninput);
        count = std::max<uint64_t>(wanted, jobs);
        most = std::min({most, uint64_t{defaultsessions}, room / largeststorage});
    }
    if (bytes != 0)
        most = std::min(most, std::max<uint64_t>(bytes / leastinput, 1));
    const uint64_t rounded = count > jobs ? partsof(count, jobs) * jobs : count;
    return evenly(std::min(rounded, most), jobs);
}

} // namespace

storageplan planstorage(const joboptions &options, std::vector<inputsource> &sources, bool again) {
    const uint64_t bytes = bytesof(options, sources);
    // Where a thread would have next to nothing to do, asking takes longer than the work.
    if (bytes != 0 && bytes <= leastinput && options.jobs == 0 && options.memory.empty())
        return {1, 1, enoughfor(bytes)};
    const machinefacts machine = inspectmachine();
    storageplan plan;
    plan.jobs = options.jobs != 0 ? options.jobs : std::min(machine.cores, defaultjobs);
    const uint64_t given = storagegiven(options, machine, again);
    const uint64_t wanted = sessionsof(options, given, bytes, plan.jobs, machine);
    const size_t open = mostopen(options, sources, plan.jobs, static_cast<size_t>(wanted));
    plan.sessions = evenly(std::min<uint64_t>(wanted, open), plan.jobs);
    const uint64_t share = given != 0   ? given / plan.sessions
                           : bytes != 0 ? enoughfor(partsof(bytes, plan.sessions))
                                        : largeststorage;
    plan.memory = static_cast<uint32_t>(std::clamp<uint64_t>(share, KVRN_MEM_MIN, largeststorage));
    return plan;
}

void heedlength(storageplan &plan, uint32_t longest) {
    const uint64_t all = plan.all();
    const uint64_t least = leaststorage + recordsheld * uint64_t{longest};
    if (plan.memory >= least)
        return;
    plan.sessions = evenly(all / least, plan.jobs);
    plan.memory = static_cast<uint32_t>(std::min(all / plan.sessions, largeststorage));
}

uint32_t singlestorage(const joboptions &options) {
    const uint64_t given = options.memory.empty() ? largeststorage : memorysize(options.memory);
    return static_cast<uint32_t>(std::clamp<uint64_t>(given, leaststorage, largeststorage));
}

} // namespace command
