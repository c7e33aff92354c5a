#include "copying.h"

#include "feeding.h"
#include "recordreader.h"
#include "report.h"

#include <algorithm>

namespace command {

namespace {

constexpr size_t portionbytes = size_t{8} << 20;
constexpr char endmarkbyte = 0x1A;

class portions {
  public:
    portions(const joboptions &options, jobplan &planned, outputsink &sink, uint32_t &sumstop)
        : plan(planned), sums(sumstop), in(options.tempdirs), out(options.tempdirs), target(sink) {
        plan.engine.infiles = {in.path()};
        plan.engine.outfile = out.path();
    }

    // Whole records at a time; at the end what is left, for the engine to judge.
    void take(inputsource &source) {
        std::string data;
        lines = 0;
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
            if (plan.text && data.size() - whole > longestkept)
                refuselongline("a line", source, longestkept);
            if (whole != 0)
                copy(source, std::string_view(data).substr(0, whole));
            data.erase(0, whole);
        }
    }

  private:
    jobplan &plan;
    uint32_t &sums;
    scratchfile in, out;
    outputsink &target;
    uint64_t lines = 0; // of the source, in earlier portions

    // A text file ends at its mark; a stream has none.
    bool cutatmark(const inputsource &source, std::string &data, size_t from) const {
        if (!plan.text || !source.endsatmark())
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
            return data.size() / plan.shape.length * plan.shape.length;
        const std::string_view end = endbytes(plan.shape.end);
        const size_t last = data.rfind(end);
        return last == std::string::npos ? 0 : last + end.size();
    }
    void copy(const inputsource &source, std::string_view data) {
        plan.engine.inkinds = {
            textkind(plan.shape, plan.text && data.find(endmarkbyte) != std::string_view::npos)};
        if (plan.form.numbers && !source.isfile())
            settlenumbers(source, data);
        in.clear();
        in.append(data.data(), data.size());
        in.finish();
        try {
            session engine(plan.engine, sums);
            engine.close();
        } catch (const enginefailure &) {
            if (plan.text)
                findline(source, data);
            throw;
        }
        if (plan.text)
            eachline(data, [this](std::string_view) { ++lines; });
        drawfile(out.path(), target);
    }
    // Of a stream the numbers are known so far only; each portion has conditions of its own.
    void settlenumbers(const inputsource &source, std::string_view data) const {
        plan.form.numbers->loosen();
        findline(source, data);
        plan.form.numbers->settle(plan.engine.conditions);
    }
    template <typename Each>
    void eachline(std::string_view data, Each each) const {
        const std::string_view end = endbytes(plan.shape.end);
        for (size_t from = 0; from < data.size();) {
            const size_t stop = std::min(data.find(end, from), data.size());
            each(data.substr(from, stop - from));
            from = stop + end.size();
        }
    }
    // Throws what is wrong with a line, which says more than the engine's code; returns
    // where nothing is.
    void findline(const inputsource &source, std::string_view data) const {
        textscanner scanner(plan.form);
        scanner.startsource(source);
        scanner.behind(lines);
        eachline(data, [&](std::string_view line) { (void)scanner.line(line); });
    }
};

} // namespace

void copyportions(const joboptions &options, std::vector<inputsource> &sources, jobplan &plan,
                  outputsink &out, uint32_t &sumstop) {
    portions job(options, plan, out, sumstop);
    for (inputsource &source : sources)
        job.take(source);
}

} // namespace command
