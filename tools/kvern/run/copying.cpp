#include "kvern/run/copying.h"

#include "kvern/plan/plan.h"
#include "kvern/records/recordreader.h"
#include "kvern/run/feeding.h"
#include "kvern/system/report.h"

#include <algorithm>

namespace command {

namespace {

constexpr size_t portionbytes = size_t{8} << 20;
constexpr char endmarkbyte = 0x1A;

class portions {
  public:
    portions(const joboptions &options, jobplan &planned, recordsink &sink, uint32_t &sumstop)
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
            if (atend && plan.view.text && !data.empty() &&
                !data.ends_with(endbytes(plan.shape.end)))
                data += endbytes(plan.shape.end);
            const size_t whole = atend ? data.size() : wholerecords(data);
            if (plan.view.text && data.size() - whole > longestkept)
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
    recordsink &target;
    uint64_t lines = 0; // of the source, in earlier portions

    size_t wholerecords(const std::string &data) const {
        if (!plan.view.text)
            return data.size() / plan.shape.length * plan.shape.length;
        const std::string_view end = endbytes(plan.shape.end);
        const size_t last = data.rfind(end);
        return last == std::string::npos ? 0 : last + end.size();
    }
    // The engine reads a byte 0x1A as one of the line only where lines part at line feeds.
    void copy(const inputsource &source, std::string_view data) {
        if (!plan.view.text) {
            run(source, data, KVRN_FILE_PLAIN);
            return;
        }
        if (plan.shape.refusesfeeds())
            eachline(data,
                     [&, number = source.skippedrecords() + lines](std::string_view line) mutable {
                         checkfeeds(plan.shape, line, ++number, source);
                     });
        if (plan.form.numbers && !source.isfile())
            settlenumbers(source, data);
        const bool marked = data.find(endmarkbyte) != std::string_view::npos;
        if (!marked || feedsonly(data))
            run(source, data, textkind(marked));
        else
            copyaround(source, data);
    }
    bool feedsonly(std::string_view data) const {
        if (plan.shape.end != lineend::crlf)
            return plan.shape.end == lineend::lf;
        for (size_t at = 0; (at = data.find('\n', at)) != std::string_view::npos; ++at)
            if (at == 0 || data[at - 1] != '\r')
                return false;
        return true;
    }
    // Each line with a byte 0x1A by itself, what lies between them as it is.
    void copyaround(const inputsource &source, std::string_view data) {
        const std::string_view end = endbytes(plan.shape.end);
        size_t from = 0;
        eachline(data, [&](std::string_view line) {
            if (line.find(endmarkbyte) == std::string_view::npos)
                return;
            const auto at = static_cast<size_t>(line.data() - data.data());
            if (at > from)
                run(source, data.substr(from, at - from), KVRN_FILE_PLAIN);
            from = at + line.size() + end.size();
            sortone(source, data.substr(at, from - at));
        });
        if (from < data.size())
            run(source, data.substr(from), KVRN_FILE_PLAIN);
    }
    // A sort takes a line as it is; one by itself is in order.
    void sortone(const inputsource &source, std::string_view line) {
        description one = plan.engine;
        one.prim.function = KVRN_SORT;
        one.prim.recoprat = KVRN_PUT_BLOCK | KVRN_GET_BLOCK;
        one.infiles.clear();
        one.outfile.clear();
        try {
            session engine(one, sums);
            engine.put(line.data(), static_cast<uint32_t>(line.size()));
            engine.endinput();
            draw(engine, plan, target, [] {});
            engine.close();
        } catch (const enginefailure &) {
            findline(source, line);
            throw;
        }
        ++lines;
    }
    void run(const inputsource &source, std::string_view data, uint8_t kind) {
        plan.engine.inkinds = {kind};
        in.clear();
        in.append(data.data(), data.size());
        in.finish();
        try {
            session engine(plan.engine, sums);
            engine.close();
        } catch (const enginefailure &) {
            if (plan.view.text)
                findline(source, data);
            throw;
        }
        if (plan.view.text)
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
                  recordsink &out, uint32_t &sumstop) {
    portions job(options, plan, out, sumstop);
    for (inputsource &source : sources)
        job.take(source);
}

} // namespace command
