// Who reads and writes the files:
//
//   sort    the engine, or the command by record calls where a side is a stream; lines of
//           a long stream are taken into a scratch file first, unless --max-line is given
//   merge   the engine; streams are taken into scratch files first; to standard
//           output by record calls, lines with CR LF through a scratch file
//   copy    the engine, which knows files only here: to standard output some
//           megabytes at a time, from and to scratch files
//   check   the command by record calls, which tell the record that is out of order
//
// Variable records, which no plain file of the engine's holds, and an output that a
// header leads are read and written by the command; a copy of variable records is a
// merge of one input whose records are all equal.  An output that is a pipe or a device
// is written like standard output; any other takes its place when all went well.
#include "jobrun.h"

#include "blocks.h"
#include "copying.h"
#include "explain.h"
#include "failures.h"
#include "feeding.h"
#include "plan.h"
#include "report.h"
#include "statistics.h"

#include <algorithm>
#include <deque>
#include <optional>

namespace command {

namespace {

class job {
  public:
    job(const joboptions &given, std::vector<inputsource> &inputs, jobplan &planned,
        outputsink *output, const std::string &leading, uint64_t shorts)
        : options(given), sources(inputs), plan(planned), target(output), header(leading),
          seen(modeof(given)) {
        counts.shorts = shorts;
        plan.engine.watcher = &seen;
        for (const inputsource &source : sources)
            if (source.isfile())
                expected += source.size();
            else
                unknown = true;
        seen.expect(unknown ? 0 : expected);
    }

    void run() {
        try {
            if (plan.kind == jobkind::check)
                runsession(nullptr);
            else if (plan.tofile)
                writefile(*target);
            else
                deliver(*target);
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
        seen.clear();
        if (!options.stats.empty())
            printstatistics(options.stats, facts(), seen);
        if (sumstop != 0)
            throw sumfailure(sumstop, options, false);
    }

  private:
    const joboptions &options;
    std::vector<inputsource> &sources;
    jobplan &plan;
    outputsink *target; // null: a check
    const std::string &header;
    tally counts;
    watch seen;
    uint64_t expected = 0, written = 0;
    bool unknown = false;
    uint32_t sumstop = 0;

    static showing modeof(const joboptions &options) {
        if (options.progress == "auto")
            return isterminal(standarderror) && !options.quiet ? showing::late : showing::never;
        return options.progress == "always" ? showing::always : showing::never;
    }
    runfacts facts() const {
        const KVRNSTAT &stat = seen.counters();
        const bool byengine = plan.byfile || plan.engine.prim.function == KVRN_COPY;
        uint64_t records = 0, bytes = 0;
        for (const inputsource &source : sources) {
            records += source.skippedrecords();
            bytes += source.skipped() + (byengine ? 0 : source.taken());
        }
        return {plan.kind, records, counts.shorts, bytes + (byengine ? stat.inbytes : 0),
                plan.tofile ? stat.outbytes : written};
    }

    // A sum that stopped ends the command unless a warning is enough.
    void checksum() const {
        if (sumstop != 0 && !options.warnoverflow)
            throw sumfailure(sumstop, options, false);
    }
    lookat checking() const {
        return [this] { checksum(); };
    }
    // What the engine read by itself is all that the files held when they were opened.
    void checkread() const {
        if (!plan.byfile)
            return;
        uint64_t held = 0;
        for (const inputsource &source : sources) {
            source.checkwhole();
            if (source.endedatmark())
                return;
            held += source.size();
        }
        if (const uint64_t bytes = seen.counters().inbytes; bytes < held)
            throw failure{ending::file,
                          "the inputs held " + plural(held, "byte") + " at first and only " +
                              std::to_string(bytes) + " when they were read",
                          "something else writes to them"};
    }
    // Where open files are locked the output can take the place of an input only now.
    void closesources() {
        for (inputsource &source : sources)
            source.close();
    }

    // The engine writes what takes the output's place.
    void writefile(outputsink &out) {
        plan.engine.outfile = out.way();
        runsession(nullptr);
        checkread();
        closesources();
        out.commit();
    }
    void deliver(outputsink &out) {
        recordsink records([&out](const void *data, size_t length) { out.write(data, length); },
                           plan.shape, [this] { return blocksize(); }, options.blocksize != 0);
        records.write(header.data(), header.size());
        if (plan.portions)
            copyportions(options, sources, plan, records, sumstop);
        else
            runsession(&records);
        records.finish();
        checkread();
        if (std::any_of(sources.begin(), sources.end(),
                        [](const inputsource &one) { return one.endedatmark(); }))
            out.write("\x1A", 1);
        out.finish();
        written = out.bytes();
        closesources();
        out.commit();
    }
    uint32_t blocksize() const {
        uint32_t largest = options.blocksize;
        for (const inputsource &source : sources)
            if (options.blocksize == 0)
                largest = std::max(largest, source.largestblock());
        return largest == 0 ? longestblock : largest;
    }
    void runsession(recordsink *out) {
        std::optional<scratchfile> shown;
        if (out && plan.byfile && plan.text && plan.kind == jobkind::merge &&
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
        else if (out && !shown && plan.kind == jobkind::sort)
            draw(engine, plan, *out, checking());
        else if (out && !shown)
            drawmerged(engine, *out, checking());
        engine.close();
        checksum();
        if (shown)
            drawfile(shown->path(), *out, options.doseof);
    }
};

using scratchfiles = std::deque<scratchfile>;

// Streams as files, in the order of the sources.
void spool(const joboptions &options, std::vector<inputsource> &sources, scratchfiles &files) {
    for (inputsource &source : sources) {
        if (source.isnamedfile())
            continue;
        scratchfile &file = files.emplace_back(options.tempdirs);
        takeinto(file, source);
        source.standfor(file.path());
    }
}

// A sort gives each line the room of the longest one, which a stream tells only at its
// end: with room for any line, temporary files would be many times the input.
bool mustmeasure(const joboptions &options, const std::vector<inputsource> &sources) {
    if (options.istext() && options.eol == "crlf")
        return true; // how lines of it are put depends on what they hold
    return options.kind == jobkind::sort && options.istext() && options.maxline == 0 &&
           std::any_of(sources.begin(), sources.end(),
                       [](const inputsource &one) { return !one.isfile() && !one.aheadisall(); });
}

// Files without their short records, for an engine that would fail at them.
uint64_t sift(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan,
              scratchfiles &files) {
    textscanner tests(plan.form);
    for (inputsource &source : sources) {
        scratchfile &file = files.emplace_back(options.tempdirs);
        siftinto(file, source, plan, tests);
        source.standfor(file.path());
    }
    if (plan.byfile)
        listinputs(plan, sources, options.doseof);
    return tests.shorts();
}

// A merge and a copy write blocks before they have read all.
bool mustmeasureblocks(const joboptions &options, const recordshape &shape) {
    return shape.frame && shape.frame->blocked && options.blocksize == 0 &&
           (options.kind == jobkind::merge || options.kind == jobkind::copy);
}

void explainsession(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan) {
    try {
        explainjob(options, sources, plan);
    } catch (const enginefailure &what) {
        throw translate(what, options, plan, sources);
    }
}

} // namespace

void runjob(const joboptions &options) {
    checkoptions(options);
    const std::vector<fileidentity> identities = identifyall(options.inputs);
    std::vector<inputsource> sources = opensources(options.inputs);
    const recordshape shape = findshape(options, sources);
    if (options.framing == "rdw")
        refuseblocks(sources);
    std::string header;
    if (options.header != 0)
        header = takeheaders(sources, shape, options.header);
    const std::string output = options.tofile() ? options.output : "";
    const bool replaced = !output.empty() && isreplaced(output);
    std::optional<outputsink> target;
    if (!options.explain && options.kind != jobkind::check)
        target.emplace(output, options.tempdirs, identities);
    scratchfiles files;
    const bool variable = shape.kind == formkind::variable;
    const bool merging = options.kind == jobkind::merge && !variable;
    const bool copying = options.kind == jobkind::copy && !variable;
    const bool filecopy = copying && !inportions(options, replaced);
    const bool byblocks = mustmeasureblocks(options, shape);
    if (!options.explain && (merging || filecopy || byblocks || mustmeasure(options, sources)))
        spool(options, sources, files);
    if (!options.explain && byblocks)
        measureblocks(sources, shape);
    jobplan plan = planjob(options, shape, sources, replaced);
    if (options.explain) {
        explainsession(options, sources, plan);
        return;
    }
    uint64_t shorts = 0;
    if ((merging || copying) && options.dropshort)
        shorts = sift(options, sources, plan, files);
    job(options, sources, plan, target ? &*target : nullptr, header, shorts).run();
}

} // namespace command
