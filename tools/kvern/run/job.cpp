#include "kvern/run/job.h"

#include "kvern/records/blocks.h"
#include "kvern/run/copying.h"
#include "kvern/run/failures.h"
#include "kvern/system/report.h"

#include <algorithm>
#include <optional>

namespace command {

job::job(const joboptions &given, std::vector<inputsource> &inputs, jobplan &planned, watch &looker,
         const std::string &leading, uint64_t shorts, const intakefacts *earlier)
    : options(given), sources(inputs), plan(planned), header(leading), before(earlier),
      seen(looker), bytesbefore(looker.counters().inbytes) {
    counts.shorts = shorts;
    plan.engine.watcher = &seen;
}

template <typename Work>
void job::attempt(Work work) {
    try {
        work();
    } catch (const enginefailure &what) {
        // Where the last sum found no room its record is lost, and the engine's
        // account of records tells.
        if (sumstop != 0)
            throw sumfailure(sumstop, options, true);
        for (const inputsource &source : sources)
            if (plan.byfile)
                source.checkwhole(); // which says more
        throw translate(what, options, plan, sources);
    }
}

void job::run(outputsink *target) {
    attempt([&] {
        if (plan.kind == jobkind::check)
            runsession(nullptr);
        else if (plan.tofile)
            writefile(*target);
        else
            deliver(*target);
    });
    seen.clear();
    if (!options.stats.empty())
        printstatistics(options.stats, facts(), seen);
    if (sumstop != 0)
        throw sumfailure(sumstop, options, false);
}

void job::runinto(scratchfile &file) {
    file.clear();
    attempt([&] { pass([&file](const void *data, size_t length) { file.append(data, length); }); });
    file.finish();
}

intakefacts job::taken() const {
    if (before != nullptr)
        return *before;
    const bool byengine = plan.byfile || plan.engine.prim.function == KVRN_COPY;
    intakefacts all;
    all.shorts = counts.shorts;
    all.bytes = byengine ? inbytes() : 0;
    for (const inputsource &source : sources) {
        all.header += source.skippedrecords();
        all.bytes += source.skipped() + (byengine ? 0 : source.taken());
        all.largestblock = std::max(all.largestblock, source.largestblock());
    }
    return all;
}

runfacts job::facts() const {
    const intakefacts all = taken();
    return {plan.kind, all.header, all.shorts, all.bytes,
            plan.tofile ? seen.counters().outbytes : written};
}

// A sum that stopped ends the command unless a warning is enough.
void job::checksum() const {
    if (sumstop != 0 && !options.warnoverflow)
        throw sumfailure(sumstop, options, false);
}

lookat job::checking() const {
    return [this] { checksum(); };
}

// What the engine read by itself is all that the files held when they were opened.
void job::checkread() const {
    if (!plan.byfile || before != nullptr)
        return;
    uint64_t held = 0;
    for (const inputsource &source : sources) {
        source.checkwhole();
        if (source.endedatmark())
            return;
        held += source.size();
    }
    if (const uint64_t bytes = inbytes(); bytes < held)
        throw failure{ending::file,
                      "the inputs held " + plural(held, "byte") + " at first and only " +
                          std::to_string(bytes) + " when they were read",
                      "something else writes to them"};
}

// Where open files are locked the output can take the place of an input only now.
void job::closesources() {
    for (inputsource &source : sources)
        source.close();
}

// The engine writes what takes the output's place.
void job::writefile(outputsink &out) {
    plan.engine.outfile = out.way();
    runsession(nullptr);
    checkread();
    closesources();
    out.commit();
}

void job::pass(const recordsink::writer &to) {
    recordsink records(
        to, plan.shape, [this] { return blocksize(); }, options.blocksize != 0);
    records.write(header.data(), header.size());
    if (plan.portions)
        copyportions(options, sources, plan, records, sumstop);
    else
        runsession(&records);
    records.finish();
    checkread();
    if (std::any_of(sources.begin(), sources.end(),
                    [](const inputsource &one) { return one.endedatmark(); }))
        to("\x1A", 1);
}

void job::deliver(outputsink &out) {
    pass([&out](const void *data, size_t length) { out.write(data, length); });
    out.finish();
    written = out.bytes();
    closesources();
    out.commit();
}

uint32_t job::blocksize() const {
    uint32_t largest =
        before != nullptr && options.blocksize == 0 ? before->largestblock : options.blocksize;
    for (const inputsource &source : sources)
        if (options.blocksize == 0 && before == nullptr)
            largest = std::max(largest, source.largestblock());
    return largest == 0 ? longestblock : largest;
}

void job::runsession(recordsink *out) {
    std::optional<scratchfile> shown;
    if (out != nullptr && plan.byfile && plan.view.text && plan.kind == jobkind::merge &&
        plan.shape.end == lineend::crlf) {
        // Record calls of a merge give such lines shifted by a byte.
        shown.emplace(options.tempdirs);
        plan.engine.outfile = shown->path();
        plan.engine.prim.recoprat = 0;
    }
    session engine(plan.engine, sumstop);
    if (plan.kind == jobkind::sort && !plan.byfile)
        feed(engine, sources, plan, counts);
    checksum();
    if (plan.engine.prim.function == KVRN_MERGE && !plan.byfile)
        exchange(engine, sources, plan, out, checking(), counts);
    else if (out != nullptr && !shown && plan.kind == jobkind::sort)
        draw(engine, plan, *out, checking());
    else if (out != nullptr && !shown)
        drawmerged(engine, *out, checking());
    engine.close();
    checksum();
    if (shown)
        drawfile(shown->path(), *out, options.doseof);
}

} // namespace command
