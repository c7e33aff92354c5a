// Who reads and writes the files:
//
//   sort    the engine, or the command by record calls where a side is a stream
//   merge   the engine; streams are taken into scratch files first; to standard
//           output by record calls, lines with CR LF through a scratch file
//   copy    the engine, which knows files only here: to standard output some
//           megabytes at a time, from and to scratch files
//
// Merge and copy, and sums that must not stop, write beside the output.
#include "jobrun.h"

#include "details.h"
#include "feeding.h"
#include "plan.h"
#include "report.h"
#include "workfile.h"

#include <algorithm>
#include <deque>
#include <optional>

namespace command {

namespace {

constexpr size_t portionbytes = size_t{8} << 20; // of a copy to standard output
constexpr char endmarkbyte = 0x1A;

// The lines are looked at only now where the options made that unnecessary; a
// fault found there says more than the engine's code.
failure translate(const enginefailure &what, const joboptions &options, const jobplan &plan,
                  std::vector<inputsource> &sources) {
    const bool ofline = what.detail == KVRN_D_RECLEN || what.detail == KVRN_D_NOKEYFIELD ||
                        what.detail == KVRN_D_NODELIMITER || what.detail == KVRN_D_READ;
    if (ofline && plan.text && plan.byfile && !plan.scanned) {
        textscanner scanner(plan.form);
        scanfiles(plan, sources, scanner);
    }
    const explanation known = explain(what.detail);
    std::string where;
    if (known.where == side::input)
        where = sources.size() == 1 ? sources.front().name() : "an input";
    if (known.where == side::output)
        where = options.output.empty() || options.output == "-" ? "the output" : options.output;
    return {known.code, where.empty() ? known.what : where + ": " + known.what, known.advice,
            known.message, what.detail};
}

// What the detail of a stopped summation means for the user.
failure sumfailure(uint32_t detail, const joboptions &options) {
    const explanation known = explain(detail);
    if (options.warnoverflow)
        return {ending::sumstopped, known.what, "the records behind it are not summed",
                known.message, detail};
    return {ending::data, known.what, "widen the field, or give --on-overflow warn", known.message,
            detail};
}

class job {
  public:
    job(const joboptions &given, std::vector<inputsource> &inputs, jobplan &planned)
        : options(given), sources(inputs), plan(planned) {}

    void run() {
        try {
            if (plan.kind == jobkind::copy && plan.engine.outfile.empty())
                copyportions();
            else
                runsession();
        } catch (const enginefailure &what) {
            // Where the last sum found no room its record is lost, and the engine's
            // account of records tells.
            if (sumstop != 0)
                throw sumlost();
            throw translate(what, options, plan, sources);
        }
        if (sumstop != 0)
            throw sumfailure(sumstop, options);
    }

  private:
    const joboptions &options;
    std::vector<inputsource> &sources;
    jobplan &plan;
    uint32_t sumstop = 0;

    failure sumlost() const {
        failure what = sumfailure(sumstop, options);
        what.code = ending::data;
        what.advice = "the record at which it stopped is lost; widen the field";
        return what;
    }
    // A sum that stopped ends the command unless a warning is enough.
    void checksum() const {
        if (sumstop != 0 && !options.warnoverflow)
            throw sumfailure(sumstop, options);
    }
    bool keepsoutput() const {
        return plan.kind != jobkind::sort || (!plan.sums.empty() && !options.warnoverflow);
    }

    void runsession() {
        std::optional<outputfile> aside;
        std::optional<scratchfile> shown;
        if (!plan.engine.outfile.empty() && keepsoutput()) {
            aside.emplace(plan.engine.outfile);
            plan.engine.outfile = aside->path();
        } else if (plan.kind == jobkind::merge && plan.form.end == lineend::crlf && plan.text) {
            // Record calls of a merge give such lines shifted by a byte.
            shown.emplace(options.tempdirs);
            plan.engine.outfile = shown->path();
            plan.engine.prim.recoprat = 0;
        }
        session engine(plan.engine, sumstop);
        if (plan.kind == jobkind::sort && !plan.byfile)
            feed(engine, sources, plan);
        checksum();
        if (plan.engine.outfile.empty())
            deliver(engine);
        engine.close();
        checksum();
        if (aside) {
            for (inputsource &source : sources)
                source.close();
            aside->commit();
        }
        if (shown)
            drawfile(shown->path());
    }
    void deliver(session &engine) {
        if (plan.kind == jobkind::merge)
            drawmerged(engine, [this] { checksum(); });
        else
            draw(engine, [this] { checksum(); });
    }

    // ---- a copy to standard output ----
    void copyportions() {
        scratchfile in(options.tempdirs), out(options.tempdirs);
        plan.engine.infiles = {in.path()};
        plan.engine.outfile = out.path();
        for (inputsource &source : sources)
            copysource(source, in, out);
    }
    // Whole records at a time; at the end what is left, for the engine to judge.
    void copysource(inputsource &source, scratchfile &in, const scratchfile &out) {
        std::string data;
        bool atend = false;
        while (!atend) {
            const size_t left = data.size();
            data.resize(std::max(portionbytes, 2 * left));
            size_t filled = left;
            while (filled < data.size() && !atend) {
                const size_t count = source.read(data.data() + filled, data.size() - filled);
                filled += count;
                atend = count == 0;
            }
            data.resize(filled);
            atend = cutatmark(source, data, left) || atend;
            const size_t whole = atend ? data.size() : wholerecords(data);
            if (whole != 0)
                copyportion(std::string_view(data).substr(0, whole), in, out);
            data.erase(0, whole);
        }
    }
    // A text file ends at its mark; a stream has none.
    bool cutatmark(const inputsource &source, std::string &data, size_t from) const {
        if (!plan.text || !source.isnamedfile())
            return false;
        const size_t mark = data.find(endmarkbyte, from);
        if (mark == std::string::npos)
            return false;
        data.resize(mark);
        printnote(source.name() + " ends at a byte 0x1A; bytes behind it are not taken");
        return true;
    }
    size_t wholerecords(const std::string &data) const {
        if (!plan.text)
            return data.size() / plan.engine.prim.reclen * plan.engine.prim.reclen;
        const std::string_view end = endbytes(plan.form.end);
        const size_t last = data.rfind(end);
        return last == std::string::npos ? 0 : last + end.size();
    }
    void copyportion(std::string_view data, scratchfile &in, const scratchfile &out) {
        // Files of descriptors know no end mark, and lines by line feeds alone.
        const bool marked = plan.text && data.find(endmarkbyte) != std::string_view::npos;
        if (marked && plan.form.end == lineend::cr)
            throw failure{ending::data, "a line that ends in CR holds a byte 0x1A",
                          "such lines can be copied with -o only"};
        plan.engine.inkind = marked ? KVRN_FILE_DESCRIPTOR : KVRN_FILE_PLAIN;
        in.clear();
        in.append(data.data(), data.size());
        in.finish();
        session engine(plan.engine, sumstop);
        engine.close();
        drawfile(out.path());
    }
};

// Streams as files, in the order of the sources.
void spool(const joboptions &options, std::vector<inputsource> &sources,
           std::deque<scratchfile> &files) {
    for (inputsource &source : sources) {
        if (source.isnamedfile())
            continue;
        files.emplace_back(options.tempdirs);
        takeinto(files.back(), source);
        source.standfor(files.back().path());
    }
}

} // namespace

void runjob(const joboptions &options) {
    checkoptions(options);
    std::vector<inputsource> sources = opensources(options.inputs);
    std::deque<scratchfile> files;
    const bool tofile = !options.output.empty() && options.output != "-";
    if (options.kind == jobkind::merge || (options.kind == jobkind::copy && tofile))
        spool(options, sources, files);
    jobplan plan = planjob(options, sources);
    job(options, sources, plan).run();
}

} // namespace command
