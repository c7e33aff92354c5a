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
// A merge of more inputs than may be open at once merges groups of neighbours into scratch
// files first, and those at the end; equal keys keep the order of the inputs so.  The
// groups are filtered and rebuilt, for keys look at rebuilt records; what reduces equal
// keys to one record comes with the last merge.
//
// Variable records, which no plain file of the engine's holds, and an output that a
// header leads are read and written by the command; a copy of variable records is a
// merge of one input whose records are all equal.  An output that is a pipe or a device
// is written like standard output; any other takes its place when all went well.
#include "kvern/run/jobrun.h"

#include "kvern/options/optioncheck.h"
#include "kvern/plan/plan.h"
#include "kvern/plan/reach.h"
#include "kvern/records/blocks.h"
#include "kvern/run/copying.h"
#include "kvern/run/explain.h"
#include "kvern/run/failures.h"
#include "kvern/run/feeding.h"
#include "kvern/run/statistics.h"
#include "kvern/system/report.h"

#include <algorithm>
#include <deque>
#include <optional>

namespace command {

namespace {

// Beside the inputs of a session: its output, scratch files, what the system opens.
constexpr size_t sparedescriptors = 8;

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
        const std::string &leading, uint64_t shorts, const intakefacts *earlier = nullptr)
        : options(given), sources(inputs), plan(planned), header(leading), before(earlier),
          seen(looker), bytesbefore(looker.counters().inbytes) {
        counts.shorts = shorts;
        plan.engine.watcher = &seen;
    }

    void run(outputsink *target) {
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

    // A part of a merge.
    void runinto(scratchfile &file) {
        file.clear();
        attempt(
            [&] { pass([&file](const void *data, size_t length) { file.append(data, length); }); });
        file.finish();
    }

    // Complete when all was read.
    intakefacts taken() const {
        if (before)
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
    void attempt(Work work) {
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
    runfacts facts() const {
        const intakefacts all = taken();
        return {plan.kind, all.header, all.shorts, all.bytes,
                plan.tofile ? seen.counters().outbytes : written};
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
        if (!plan.byfile || before)
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
    void pass(const recordsink::writer &to) {
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
    void deliver(outputsink &out) {
        pass([&out](const void *data, size_t length) { out.write(data, length); });
        out.finish();
        written = out.bytes();
        closesources();
        out.commit();
    }
    uint32_t blocksize() const {
        uint32_t largest =
            before && options.blocksize == 0 ? before->largestblock : options.blocksize;
        for (const inputsource &source : sources)
            if (options.blocksize == 0 && !before)
                largest = std::max(largest, source.largestblock());
        return largest == 0 ? longestblock : largest;
    }
    void runsession(recordsink *out) {
        std::optional<scratchfile> shown;
        if (out && plan.byfile && plan.view.text && plan.kind == jobkind::merge &&
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

showing modeof(const joboptions &options) {
    if (options.progress == "auto")
        return isterminal(standarderror) && !options.quiet ? showing::late : showing::never;
    return options.progress == "always" ? showing::always : showing::never;
}

void expectall(watch &seen, const std::vector<inputsource> &sources) {
    uint64_t expected = 0;
    for (const inputsource &source : sources) {
        if (!source.isfile())
            return;
        expected += source.size();
    }
    seen.expect(expected);
}

// Streams as files, in the order of the sources.  Of many files a header is skipped by
// the command, for a scratch file each would be too many.
void spool(const joboptions &options, std::vector<inputsource> &sources, scratchfiles &files,
           bool many) {
    for (inputsource &source : sources) {
        if (source.isnamedfile() || (many && source.isfile()))
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

// A merge of many inputs, by groups.
class groupmerge {
  public:
    groupmerge(const joboptions &given, std::vector<inputsource> &inputs, const jobplan &planned,
               watch &looker, size_t descriptors)
        : options(given), sources(inputs), plan(planned), seen(looker),
          most(std::max<size_t>(descriptors / 2, 2)) {
        options.unique = false;
        options.sums.clear();
        plan.engine.prim.options &= static_cast<uint8_t>(~(KVRN_SUM | KVRN_SUPPRESS));
        plan.engine.sums.clear();
        plan.tofile = false;
        plan.engine.outfile.clear();
        plan.byfile = plan.byfile && !options.dropshort;
    }
    // All sources into no more scratch files than may be open twice.
    void run() {
        for (size_t at = 0; at < sources.size();) {
            if (made.size() == most)
                fold();
            std::vector<inputsource> group;
            for (; at < sources.size() && group.size() < most; ++at)
                group.push_back(std::move(sources[at]));
            seen.count(true, false);
            merge(options, group, plan, nullptr);
        }
        seen.count(false, true);
    }
    // What is left to do is planned as a merge of its own.
    std::vector<inputsource> parts() const {
        std::vector<inputsource> all;
        for (const scratchfile &one : made) {
            all.emplace_back(one.path());
            if (options.doseof)
                all.back().endatmark();
            all.back().standfor(one.path());
        }
        return all;
    }
    const intakefacts &taken() const { return facts; }

  private:
    joboptions options;
    std::vector<inputsource> &sources;
    jobplan plan;
    watch &seen;
    size_t most;
    scratchfiles made;
    intakefacts facts;

    void merge(const joboptions &how, std::vector<inputsource> &group, jobplan part,
               const intakefacts *before) {
        planmerge(how, group.size(), part);
        part.engine.infiles.clear();
        part.engine.inkinds.clear();
        if (part.byfile)
            listinputs(part, group, how.doseof);
        const std::string none;
        job one(how, group, part, seen, none, 0, before);
        scratchfile &file = made.emplace_back(how.tempdirs);
        one.runinto(file);
        if (before)
            return;
        const intakefacts read = one.taken();
        facts.header += read.header;
        facts.shorts += read.shorts;
        facts.bytes += read.bytes;
        facts.largestblock = std::max(facts.largestblock, read.largestblock);
    }
    void fold() {
        std::vector<inputsource> group = parts();
        const joboptions how = behindgroups(options, plan);
        jobplan part = planjob(how, shapebehind(plan), group, false);
        seen.count(false, false);
        merge(how, group, part, &facts);
        while (made.size() > 1)
            made.pop_front();
    }

  public:
    static recordshape shapebehind(const jobplan &plan) {
        recordshape shape = plan.shape;
        if (!plan.pieces.empty() && !plan.view.text)
            shape.length = rebuiltlength(plan);
        return shape;
    }
    // Records in scratch files are chosen and rebuilt already.
    static joboptions behindgroups(joboptions how, const jobplan &plan) {
        how.where.clear();
        how.wherefile.clear();
        how.wheregiven = how.dropshort = false;
        how.header = 0;
        if (!how.rebuildgiven)
            return how;
        how.rebuildgiven = false;
        how.rebuild.clear();
        how.maxline = 0;
        (how.fixed != 0 ? how.fixed : how.variable) = plan.view.text ? 0 : rebuiltlength(plan);
        return how;
    }
};

void rungroups(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan,
               watch &seen, outputsink &target, const std::string &header, size_t descriptors) {
    groupmerge groups(options, sources, plan, seen, descriptors);
    groups.run();
    const joboptions how = groupmerge::behindgroups(options, plan);
    std::vector<inputsource> parts = groups.parts();
    jobplan last =
        planjob(how, groupmerge::shapebehind(plan), parts, plan.replaced && header.empty());
    last.replaced = plan.replaced;
    job(how, parts, last, seen, header, 0, &groups.taken()).run(&target);
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
    const size_t wanted = sources.size() + sparedescriptors;
    const size_t descriptors = freedescriptors(wanted);
    const bool many = options.kind == jobkind::merge && descriptors < wanted;
    if (!options.explain && (merging || filecopy || byblocks || mustmeasure(options, sources)))
        spool(options, sources, files, many);
    if (!options.explain && byblocks)
        measureblocks(sources, shape);
    jobplan plan = planjob(options, shape, sources, replaced);
    if (options.explain) {
        explainsession(options, sources, plan);
        return;
    }
    watch seen(modeof(options));
    expectall(seen, sources);
    if (many) {
        const size_t left = freedescriptors(wanted);
        rungroups(options, sources, plan, seen, *target, header,
                  left - std::min(left, sparedescriptors));
        return;
    }
    uint64_t shorts = 0;
    if ((merging || copying) && options.dropshort)
        shorts = sift(options, sources, plan, files);
    job(options, sources, plan, seen, header, shorts).run(target ? &*target : nullptr);
}

} // namespace command
