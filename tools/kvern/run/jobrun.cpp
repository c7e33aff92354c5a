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
#include "kvern/run/jobrun.h"

#include "kvern/options/optioncheck.h"
#include "kvern/plan/plan.h"
#include "kvern/records/blocks.h"
#include "kvern/run/explain.h"
#include "kvern/run/failures.h"
#include "kvern/run/groupmerge.h"
#include "kvern/system/report.h"

#include <algorithm>
#include <optional>

namespace command {

namespace {

// Beside the inputs of a session: its output, scratch files, what the system opens.
constexpr size_t sparedescriptors = 8;

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
    return shape.frame != nullptr && shape.frame->blocked && options.blocksize == 0 &&
           (options.kind == jobkind::merge || options.kind == jobkind::copy);
}

void explainsession(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan) {
    try {
        explainjob(options, sources, plan);
    } catch (const enginefailure &what) {
        throw translate(what, options, plan, sources);
    }
}

// What has to be a file, or measured, before anything is planned.
void bringin(const joboptions &options, const recordshape &shape, std::vector<inputsource> &sources,
             scratchfiles &files, bool replaced, bool many) {
    const bool merging = options.kind == jobkind::merge;
    const bool filecopy = options.kind == jobkind::copy && !inportions(options, replaced);
    const bool byfile = shape.kind != formkind::variable && (merging || filecopy);
    const bool byblocks = mustmeasureblocks(options, shape);
    if (byfile || byblocks || mustmeasure(options, sources))
        spool(options, sources, files, many);
    if (byblocks)
        measureblocks(sources, shape);
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
    const size_t wanted = sources.size() + sparedescriptors;
    const size_t descriptors = freedescriptors(wanted);
    const bool many = options.kind == jobkind::merge && descriptors < wanted;
    if (!options.explain)
        bringin(options, shape, sources, files, replaced, many);
    jobplan plan = planjob(options, shape, sources, replaced);
    if (options.explain) {
        explainsession(options, sources, plan);
        return;
    }
    watch seen(modeof(options));
    expectall(seen, sources);
    if (many) {
        const size_t left = freedescriptors(wanted);
        mergegroups(options, sources, plan, seen, *target, header,
                    left - std::min(left, sparedescriptors));
        return;
    }
    uint64_t shorts = 0;
    const bool byrecord = options.kind == jobkind::sort || options.kind == jobkind::check;
    if (options.dropshort && !byrecord && shape.kind != formkind::variable)
        shorts = sift(options, sources, plan, files);
    job(options, sources, plan, seen, header, shorts).run(target ? &*target : nullptr);
}

} // namespace command
